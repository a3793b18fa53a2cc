// Handle operations declared once and served under several receivers.
//
// An operation names itself, its format letters and a callable whose first
// parameter is the handle (`File&`):
//
//   using Close = Op<"Close", "O", [](File& f) { return f.Close(); }>;
//
// row<"File_", Close>() is then the Python function File_Close, and
// row<"FileCloser_", Close, Held<FileCloser>>() is FileCloser_Close: the same
// conversions and result, with the first argument a holder whose held handle
// the operation runs on.
#ifndef WRAPPERS_OPERATIONS_H_
#define WRAPPERS_OPERATIONS_H_

#include "wrappers/calling.h"

namespace pq {

template <Text Suffix, Text Fmt, auto Fn>
struct Op {
  static constexpr auto kSuffix = Suffix;
  static constexpr auto kFmt = Fmt;
  static constexpr auto kFn = Fn;
};

// A receiver reached through a holder object: converts the holder pointer and
// yields its held handle. An absent holder or an empty one is a null
// receiver, refused ("null reference") before the library is reached.
template <class Holder>
struct Held {
  File* file;
  operator File&() const { return *file; }  // NOLINT
};

template <class Holder>
struct Param<Held<Holder>> : NonNull<Param<Held<Holder>>> {
  static swig_type_info* Type() { return TypeOf<Holder>(); }
  void* ptr = nullptr;
  bool Convert(const Slot& slot) { return SWIG_Python_ConvertPtr(slot.o, &ptr, Type(), kPointerRaise) != -1; }
  bool Present() const { return ptr && static_cast<Holder*>(ptr)->get(); }
  Held<Holder> Get() { return Held<Holder>{static_cast<Holder*>(ptr)->get()}; }
};

// The operation's callable with its receiver parameter replaced.
template <class Receiver, auto Fn, class Sig = typename Signature<decltype(+Fn)>::Params>
struct Rebind;
template <class Receiver, auto Fn, class R0, class... A>
struct Rebind<Receiver, Fn, std::tuple<R0, A...>> {
  static auto call(Receiver r, A... a) { return Fn(r, std::forward<A>(a)...); }
};

template <class Receiver, class Operation>
constexpr auto ReceiverFn() {
  if constexpr (std::is_same_v<Receiver, void>) {
    return Operation::kFn;
  } else {
    return &Rebind<Receiver, Operation::kFn>::call;
  }
}

template <Text Prefix, class Operation, class Receiver = void>
constexpr PyMethodDef row() {
  return def<Concat<Prefix, Operation::kSuffix>::value, Operation::kFmt, ReceiverFn<Receiver, Operation>()>();
}

// An overloaded operation: a handle form (an Op) and a by-name form.
template <class HandleOp, Text NameFmt, auto NameFn>
struct OverloadedOp {
  using Handle = HandleOp;
  static constexpr auto kSuffix = HandleOp::kSuffix;
  static constexpr auto kNameFmt = NameFmt;
  static constexpr auto kNameFn = NameFn;
};

template <Text Prefix, class Operation, class Receiver = void>
constexpr PyMethodDef overloaded_row() {
  using H = typename Operation::Handle;
  return overload<Concat<Prefix, Operation::kSuffix>::value,
                  form<H::kFmt, ReceiverFn<Receiver, H>()>,
                  form<Operation::kNameFmt, Operation::kNameFn>>();
}

}  // namespace pq

#endif  // WRAPPERS_OPERATIONS_H_
