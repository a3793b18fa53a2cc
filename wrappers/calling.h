// The calling convention of every Python function of the module.
//
// A function is declared once, as a row of its family's method list:
//
//   def<"File_Open", "ss", &File::Open>(),
//   def<"FileStat_IsDirectory", "O", [](FileStat* s) { return s->IsDirectory(); }>(),
//   get_member<"FileStat_length_get", &FileStat::length>(),
//   overload<"File_DeleteWithOp", form<"sO", ...>, form<"OO", ...>>(),
//
// From the callable's parameter types follow the argument conversions, from
// its return type the result conversion; Out<T>& parameters become output
// arguments folded into the result. The wrapper parses "<letters>:<name>",
// converts every argument with the interpreter lock held, releases the lock
// around exactly the one call (unless HoldLock), and converts the result.
// Rows named new_... return their object owned.
#ifndef WRAPPERS_CALLING_H_
#define WRAPPERS_CALLING_H_

#include <algorithm>
#include <tuple>
#include <type_traits>
#include <utility>

#include "runtime/python.h"
#include "runtime/type_registry.h"
#include "wrappers/arguments.h"
#include "wrappers/results.h"
#include "wrappers/text.h"

namespace pq {

// ---- policies ------------------------------------------------------------------
struct HoldLock {};   // keep the interpreter lock during the call
struct OwnResult {};  // a fresh heap result is handed over owned

// ---- a family's rows -----------------------------------------------------------
struct MethodList {
  const PyMethodDef* rows;
  size_t count;
};
#define PQ_METHOD_LIST(list_name, ...)                                                  \
  namespace {                                                                            \
  const PyMethodDef list_name##_rows[] = {__VA_ARGS__};                                  \
  }                                                                                      \
  namespace pq {                                                                         \
  extern const MethodList list_name = {list_name##_rows,                                 \
                                       sizeof(list_name##_rows) / sizeof(PyMethodDef)};  \
  }

// Parses args with format into consecutive slots (at most kMaxSlots).
constexpr int kMaxSlots = 10;
bool ParseSlots(PyObject* args, const char* format, Slot* slots);

// ---- the callable's signature ----------------------------------------------------
template <class F>
struct Signature;
template <class R, class... A>
struct Signature<R (*)(A...)> {
  using Result = R;
  using Params = std::tuple<A...>;
};
template <class F>
  requires requires { &F::operator(); }
struct Signature<F> : Signature<decltype(+std::declval<F>())> {};

// ---- the format's letters --------------------------------------------------------
template <Text Fmt>
struct Letters {
  static constexpr int Count() {
    int n = 0;
    for (size_t i = 0; i < Fmt.size(); ++i) n += Fmt.s[i] != '|';
    return n;
  }
  static constexpr int Required() {
    int n = 0;
    for (size_t i = 0; i < Fmt.size() && Fmt.s[i] != '|'; ++i) ++n;
    return n;
  }
  static constexpr char At(int k) {
    for (size_t i = 0; i < Fmt.size(); ++i) {
      if (Fmt.s[i] == '|') continue;
      if (k-- == 0) return Fmt.s[i];
    }
    return 0;
  }
};

template <class P>
struct IsOut : std::false_type {};
template <class T>
struct IsOut<Out<T>&> : std::true_type {};

// Param for a parameter type: output arguments hold their value.
template <class P>
struct Arg : Param<P> {};
template <class T>
struct Arg<Out<T>&> {
  static constexpr int kSlots = 0;
  static constexpr Candidate kTest = Candidate::kAny;
  static constexpr bool Accepts(char) { return false; }
  Out<T> out;
  Out<T>& Get() { return out; }
};

template <Text Name>
constexpr bool IsConstructorName() {
  return Name.size() > 4 && Name.s[0] == 'n' && Name.s[1] == 'e' && Name.s[2] == 'w' && Name.s[3] == '_';
}

// Releases the interpreter lock for its lifetime.
class Unlocked {
 public:
  Unlocked() : state_(PyEval_SaveThread()) {}
  ~Unlocked() { PyEval_RestoreThread(state_); }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;

 private:
  PyThreadState* state_;
};

template <Text Name, Text Fmt, auto Fn, class... Policies>
struct Wrapper {
  using Sig = Signature<decltype(Fn)>;
  using R = typename Sig::Result;
  using Params = typename Sig::Params;
  static constexpr size_t kParams = std::tuple_size_v<Params>;
  template <size_t I>
  using P = std::tuple_element_t<I, Params>;

  static constexpr auto kFormat = kParseFormat<Fmt, Name>;
  static constexpr bool kHoldLock = (std::is_same_v<Policies, HoldLock> || ...);
  static constexpr bool kOwn = (std::is_same_v<Policies, OwnResult> || ...) || IsConstructorName<Name>();

  template <size_t I>
  static constexpr int SlotOf() {
    return [&]<size_t... J>(std::index_sequence<J...>) {
      return (0 + ... + Arg<P<J>>::kSlots);
    }(std::make_index_sequence<I>{});
  }
  static constexpr int kSlotCount = SlotOf<kParams>();
  static constexpr int kRequired = Letters<Fmt>::Required();
  // Formats of objects only need no parsing: the items are the arguments.
  static constexpr bool kObjectsOnly = [] {
    for (size_t i = 0; i < Fmt.size(); ++i) {
      if (Fmt.s[i] != 'O') return false;
    }
    return true;
  }();

  static bool Parse(PyObject* py_args, Slot* slots) {
    if constexpr (kObjectsOnly) {
      if (PyTuple_CheckExact(py_args) && PyTuple_GET_SIZE(py_args) == kSlotCount) {
        for (int k = 0; k < kSlotCount; ++k) slots[k].o = PyTuple_GET_ITEM(py_args, k);
        return true;
      }
    }
    // The interpreter's parser, also for its exact messages on a wrong count.
    return ParseSlots(py_args, kFormat.s, slots);
  }

  static constexpr bool LettersAgree() {
    if (Letters<Fmt>::Count() != kSlotCount) return false;
    return [&]<size_t... I>(std::index_sequence<I...>) {
      return ((Arg<P<I>>::kSlots == 0 || Arg<P<I>>::Accepts(Letters<Fmt>::At(SlotOf<I>()))) && ...);
    }(std::make_index_sequence<kParams>{});
  }
  static_assert(kSlotCount <= kMaxSlots, "too many arguments");
  static_assert(LettersAgree(), "format letters do not agree with the parameter types");

  template <size_t I>
  static bool Load(Arg<P<I>>& arg, const Slot* slots, Py_ssize_t given) {
    if constexpr (Arg<P<I>>::kSlots == 0) {
      return true;
    } else if constexpr (IsDefaulted<P<I>>::value) {
      // An optional argument the caller left out takes its declared value.
      if (SlotOf<I>() >= given) return true;
      return arg.Load(slots[SlotOf<I>()], Letters<Fmt>::At(SlotOf<I>()));
    } else if constexpr (requires { arg.Load(slots[0], 'O'); }) {
      return arg.Load(slots[SlotOf<I>()], Letters<Fmt>::At(SlotOf<I>()));
    } else {
      return arg.Load(slots[SlotOf<I>()]);
    }
  }

  template <class Tuple, size_t... I>
  static PyObject* Run(Tuple& args, std::index_sequence<I...>) {
    PyObject* result;
    if constexpr (std::is_void_v<R>) {
      if constexpr (kHoldLock) {
        Fn(std::get<I>(args).Get()...);
      } else {
        Unlocked unlocked;
        Fn(std::get<I>(args).Get()...);
      }
      result = NewNone();
    } else {
      R r = [&]() -> R {
        if constexpr (kHoldLock) {
          return Fn(std::get<I>(args).Get()...);
        } else {
          Unlocked unlocked;
          return Fn(std::get<I>(args).Get()...);
        }
      }();
      if constexpr (std::is_pointer_v<R> && !std::is_same_v<R, PyObject*> && kOwn) {
        // A constructor's object: deleted again if no proxy can hold it.
        result = NewOwnedObject(r, TypeOf<std::remove_cv_t<std::remove_pointer_t<R>>>());
      } else {
        result = ToPy(std::move(r));
      }
    }
    // Output arguments follow in signature order.
    ((result = FoldOut<I>(result, std::get<I>(args))), ...);
    return result;
  }

  // Once every argument converted: the effects a conversion defers until
  // the call is sure to happen (disowning a proxy).
  template <class A>
  static void Accept(A& arg) {
    if constexpr (requires { arg.Accept(); }) arg.Accept();
  }

  template <size_t I, class A>
  static PyObject* FoldOut(PyObject* result, A& arg) {
    if constexpr (IsOut<P<I>>::value) {
      return t_output_helper(result, OutToPy(arg.out));
    } else {
      return result;
    }
  }

  static PyObject* call(PyObject*, PyObject* py_args) {
    return [&]<size_t... I>(std::index_sequence<I...>) -> PyObject* {
      Slot slots[kMaxSlots] = {};
      if (!Parse(py_args, slots)) return nullptr;
      std::tuple<Arg<P<I>>...> args;
      // In argument order, stopping at the first failure.
      [[maybe_unused]] const Py_ssize_t given = PyTuple_Size(py_args);
      if (!(Load<I>(std::get<I>(args), slots, given) && ...)) return nullptr;
      (Accept(std::get<I>(args)), ...);
      return Run(args, std::index_sequence<I...>{});
    }(std::make_index_sequence<kParams>{});
  }

  // Overload candidate test: the count fits and every given argument passes
  // its parameter's test.
  static bool Matches(Py_ssize_t argc, PyObject* const* argv) {
    if (argc < kRequired || argc > kSlotCount) return false;
    return [&]<size_t... I>(std::index_sequence<I...>) {
      return (Test<I>(argc, argv) && ...);
    }(std::make_index_sequence<kParams>{});
  }

  template <size_t I>
  static bool Test(Py_ssize_t argc, PyObject* const* argv) {
    using A = Arg<P<I>>;
    if constexpr (A::kSlots == 0) {
      return true;
    } else {
      constexpr int k = SlotOf<I>();
      if (k >= argc) return true;
      PyObject* o = argv[k];
      if constexpr (A::kTest == Candidate::kPointer) {
        void* ignored = nullptr;
        if (SWIG_Python_ConvertPtr(o, &ignored, A::Type(), 0) == -1) {
          PyErr_Clear();
          return false;
        }
        return true;
      } else if constexpr (A::kTest == Candidate::kString) {
        return PyString_Check(o);
      } else if constexpr (A::kTest == Candidate::kInteger) {
        return PyInt_Check(o) || PyLong_Check(o);
      } else {
        return true;
      }
    }
  }
};

template <Text Name, Text Fmt, auto Fn, class... Policies>
constexpr PyMethodDef def() {
  return {Name.s, &Wrapper<Name, Fmt, Fn, Policies...>::call, METH_VARARGS, nullptr};
}

// ---- overloaded names ------------------------------------------------------------
template <Text Fmt, auto Fn, class... Policies>
struct form {};

template <Text Name, class Form>
struct FormWrapper;
template <Text Name, Text Fmt, auto Fn, class... Policies>
struct FormWrapper<Name, form<Fmt, Fn, Policies...>> {
  using type = Wrapper<Name, Fmt, Fn, Policies...>;
};

void RaiseNoMatch(const char* name);

template <Text Name, class... Forms>
struct Dispatcher {
  static PyObject* call(PyObject* self, PyObject* args) {
    constexpr int kMostArgs = std::max({FormWrapper<Name, Forms>::type::kSlotCount...});
    Py_ssize_t argc = PyObject_Size(args);
    PyObject* argv[kMostArgs > 0 ? kMostArgs : 1] = {};
    for (Py_ssize_t i = 0; i < argc && i < kMostArgs; ++i) argv[i] = PyTuple_GetItem(args, i);
    PyObject* result = nullptr;
    const bool matched = ((FormWrapper<Name, Forms>::type::Matches(argc, argv) &&
                           (result = FormWrapper<Name, Forms>::type::call(self, args), true)) ||
                          ...);
    if (!matched) RaiseNoMatch(Name.s);
    return result;
  }
};

template <Text Name, class... Forms>
constexpr PyMethodDef overload() {
  return {Name.s, &Dispatcher<Name, Forms...>::call, METH_VARARGS, nullptr};
}

// ---- proxy registration ------------------------------------------------------------
PyObject* RegisterProxyClass(PyObject* args, swig_type_info* type);

template <class T>
struct Registration {
  static PyObject* call(PyObject*, PyObject* args) { return RegisterProxyClass(args, TypeOf<T>()); }
};

template <Text Name, class T>
constexpr PyMethodDef registration() {
  return {Name.s, &Registration<T>::call, METH_VARARGS, nullptr};
}

// ---- data members (always with the lock held) ----------------------------------------
template <auto Member>
struct MemberOf;
template <class C, class M, M C::*Member>
struct MemberOf<Member> {
  using Class = C;
  using Type = M;
};

// Reads a member. Members of wrapped class type come back as a pointer into
// the record (not owned), everything else by value.
template <Text Name, auto Member>
constexpr PyMethodDef get_member() {
  using C = typename MemberOf<Member>::Class;
  using M = typename MemberOf<Member>::Type;
  if constexpr (std::is_class_v<M> && Wrapped<M>) {
    return def<Name, "O", [](C& c) -> M* { return &(c.*Member); }, HoldLock>();
  } else {
    return def<Name, "O", [](const C& c) -> M { return c.*Member; }, HoldLock>();
  }
}

// Assigns a member; a null object is left alone.
template <Text Name, Text Fmt, auto Member>
constexpr PyMethodDef set_member() {
  using C = typename MemberOf<Member>::Class;
  using M = typename MemberOf<Member>::Type;
  return def<Name, Fmt, [](C* c, M value) { if (c) c->*Member = std::move(value); }, HoldLock>();
}

}  // namespace pq

#endif  // WRAPPERS_CALLING_H_
