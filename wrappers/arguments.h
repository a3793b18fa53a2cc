// Argument conversion by parameter type.
//
// A wrapper's parameters are the library call's parameters (or marker types
// below). Each Param<P> knows which format letters may feed it, how to turn
// the parsed slot into a P (with the interpreter lock held, before the call),
// and how an overload dispatcher tests a candidate argument for it.
#ifndef WRAPPERS_ARGUMENTS_H_
#define WRAPPERS_ARGUMENTS_H_

#include <sys/types.h>

#include <cstring>
#include <type_traits>

#include "file/base/util/base_types.h"
#include "runtime/convert.h"
#include "runtime/output.h"
#include "runtime/type_table.h"

namespace pq {

// One parsed argument, written by PyArg_ParseTuple through its letter.
union Slot {
  PyObject* o;
  const char* s;
  int i;
  long l;  // NOLINT
  char c;
  double d;
};

// ---- parameter markers -------------------------------------------------------

// An output argument: supplied by the wrapper, returned after the result.
template <class T>
struct Out {
  T value{};
  operator T*() { return &value; }  // NOLINT
};

// A pointer whose ownership passes to the library: its proxy is disowned.
template <class P>
struct Disown {
  P ptr = nullptr;
  operator P() const { return ptr; }  // NOLINT
};

// A pointer of an explicitly named type slot (for C++ types that two pointer
// types share).
template <class Tag, class P>
struct Tagged {
  P ptr = nullptr;
  operator P() const { return ptr; }  // NOLINT
};

// A caller's Python string lent to the library as a writable buffer of at
// most its own length plus the terminating NUL.
struct WritableText {
  char* data = nullptr;
  size_t capacity = 0;
};

// A caller's str lent read-only for the call, without a copy: the argument
// tuple keeps the (immutable) object alive until the wrapper returns. For
// library calls that take a pointer and a length.
struct Bytes {
  const char* data = nullptr;
  size_t size = 0;
};

// A string output parameter that the caller must pass as a str, whose
// library-written value is deliberately dropped.
struct DiscardedString {
  ::string value;
  operator ::string*() { return &value; }  // NOLINT
};

// An optional argument: `Value` when the caller leaves it out, otherwise
// converted as a T (for formats such as "O|OiO").
template <class T, auto Value>
struct Defaulted {
  T value;
  operator T() const { return value; }  // NOLINT
};
template <class P>
struct IsDefaulted : std::false_type {};
template <class T, auto Value>
struct IsDefaulted<Defaulted<T, Value>> : std::true_type {};

// ---- how overload dispatchers test an argument -------------------------------
enum class Candidate { kPointer, kString, kInteger, kAny };

namespace detail {

template <class T>
constexpr bool kIsStringVector = std::is_same_v<std::remove_cvref_t<T>, vector<::string>>;

inline bool Fail(const char* message) {
  PyErr_SetString(PyExc_TypeError, message);
  return false;
}

inline bool LoadPointer(PyObject* o, void** out, swig_type_info* type, int flags) {
  return SWIG_Python_ConvertPtr(o, out, type, flags) != -1;
}

}  // namespace detail

template <class P, class Enable = void>
struct Param;

// What every parameter fed by one format letter declares: it takes one
// slot, accepts these letters, and is tested this way by dispatchers.
template <Candidate Test, char... Letters>
struct OneSlot {
  static constexpr int kSlots = 1;
  static constexpr Candidate kTest = Test;
  static constexpr bool Accepts(char c) { return ((c == Letters) || ...); }
};

// Wrapped pointers: "O", None is null.
template <class T>
  requires Wrapped<std::remove_cv_t<T>>
struct Param<T*> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return TypeOf<std::remove_cv_t<T>>(); }
  void* ptr = nullptr;
  bool Load(const Slot& slot) { return detail::LoadPointer(slot.o, &ptr, Type(), kPointerRaise); }
  T* Get() { return static_cast<T*>(ptr); }
};

// The proxy gives up ownership only once every argument has converted (see
// Accept in calling.h), so a call refused for a later argument leaves it.
template <class P>
struct Param<Disown<P>> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return Param<P>::Type(); }
  void* ptr = nullptr;
  PyObject* object = nullptr;
  bool Load(const Slot& slot) {
    object = slot.o;
    return detail::LoadPointer(slot.o, &ptr, Type(), kPointerRaise);
  }
  void Accept() {
    void* again = nullptr;
    if (object != nullptr) SWIG_Python_ConvertPtr(object, &again, Type(), kPointerDisown);
  }
  Disown<P> Get() { return Disown<P>{static_cast<P>(ptr)}; }
};

template <class Tag, class P>
struct Param<Tagged<Tag, P>> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return swig_types[TypeSlot<Tag>::value]; }
  void* ptr = nullptr;
  bool Load(const Slot& slot) { return detail::LoadPointer(slot.o, &ptr, Type(), kPointerRaise); }
  Tagged<Tag, P> Get() { return Tagged<Tag, P>{static_cast<P>(ptr)}; }
};

// Untyped buffers: any pointer text.
template <class V>
  requires std::is_void_v<V>
struct Param<V*> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return nullptr; }
  void* ptr = nullptr;
  bool Load(const Slot& slot) { return detail::LoadPointer(slot.o, &ptr, nullptr, kPointerRaise); }
  V* Get() { return ptr; }
};

// References to wrapped classes: a null pointer is refused.
template <class T>
  requires(Wrapped<std::remove_cv_t<T>> && !detail::kIsStringVector<T>)
struct Param<T&> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return TypeOf<std::remove_cv_t<T>>(); }
  void* ptr = nullptr;
  bool Load(const Slot& slot) {
    if (!detail::LoadPointer(slot.o, &ptr, Type(), kPointerRaise)) return false;
    return ptr ? true : detail::Fail("null reference");
  }
  T& Get() { return *static_cast<T*>(ptr); }
};

// Shared handles by reference: a null pointer and an empty handle are both
// refused as null references.
template <class T>
struct Param<const shared_ptr<T>&> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return TypeOf<shared_ptr<T>>(); }
  void* ptr = nullptr;
  bool Load(const Slot& slot) {
    if (!detail::LoadPointer(slot.o, &ptr, Type(), kPointerRaise)) return false;
    return ptr && *static_cast<shared_ptr<T>*>(ptr) ? true : detail::Fail("null reference");
  }
  const shared_ptr<T>& Get() { return *static_cast<shared_ptr<T>*>(ptr); }
};

// Wrapped classes by value: copied from the pointed object. A null pointer
// is refused rather than read.
template <class T>
  requires(Wrapped<T> && std::is_class_v<T> && !detail::kIsStringVector<T>)
struct Param<T> : OneSlot<Candidate::kPointer, 'O'> {
  static swig_type_info* Type() { return TypeOf<T>(); }
  void* ptr = nullptr;
  bool Load(const Slot& slot) {
    if (!detail::LoadPointer(slot.o, &ptr, Type(), kPointerRaise)) return false;
    return ptr ? true : detail::Fail("null reference");
  }
  T Get() { return *static_cast<T*>(ptr); }
};

// Truth values: any object the integer conversion accepts; non-zero is true.
template <>
struct Param<bool> : OneSlot<Candidate::kInteger, 'O', 'i'> {
  bool value = false;
  char letter = 'O';
  bool Load(const Slot& slot, char c) {
    if (c == 'i') {
      value = slot.i != 0;
      return true;
    }
    if (!slot.o) return true;  // optional, not given
    value = PyInt_AsLong(slot.o) != 0;
    return !PyErr_Occurred();
  }
  bool Get() { return value; }
};

// int, unsigned int and enumerations: "i" parsed by the interpreter, or "O"
// through PyInt_AsLong.
template <class I>
  requires((std::is_integral_v<I> && sizeof(I) == 4) || std::is_enum_v<I>)
struct Param<I> : OneSlot<Candidate::kInteger, 'O', 'i'> {
  I value{};
  bool Load(const Slot& slot, char c) {
    if (c == 'i') {
      value = static_cast<I>(slot.i);
      return true;
    }
    if (!slot.o) return true;
    value = static_cast<I>(PyInt_AsLong(slot.o));
    return !PyErr_Occurred();
  }
  I Get() { return value; }
};

// Values the interpreter's own letter already converted.
template <class T, char Letter, T Slot::*Field, Candidate Test>
struct ParsedParam : OneSlot<Test, Letter> {
  T value{};
  bool Load(const Slot& slot) {
    value = slot.*Field;
    return true;
  }
  T Get() { return value; }
};
template <>
struct Param<long> : ParsedParam<long, 'l', &Slot::l, Candidate::kInteger> {};  // NOLINT
template <>
struct Param<char> : ParsedParam<char, 'c', &Slot::c, Candidate::kAny> {};
template <>
struct Param<double> : ParsedParam<double, 'd', &Slot::d, Candidate::kAny> {};

// 64-bit integers: "O" through the 64-bit conversions (ints and longs
// alike); errors stay pending and stop the call.
template <class T, T (*Convert)(PyObject*)>
struct SixtyFourBitParam : OneSlot<Candidate::kInteger, 'O'> {
  T value = 0;
  bool Load(const Slot& slot) {
    if (!slot.o) return true;  // optional, not given
    value = Convert(slot.o);
    return !PyErr_Occurred();
  }
  T Get() { return value; }
};
template <>
struct Param<int64> : SixtyFourBitParam<int64, AsInt64> {};
template <>
struct Param<uint64> : SixtyFourBitParam<uint64, AsUInt64> {};

template <>
struct Param<const char*> : ParsedParam<const char*, 's', &Slot::s, Candidate::kString> {};

template <>
struct Param<WritableText> : OneSlot<Candidate::kString, 's'> {
  WritableText value;
  bool Load(const Slot& slot) {
    // "s" refuses strings with NUL bytes, so the text's length is the
    // object's length.
    value.data = const_cast<char*>(slot.s);
    value.capacity = std::strlen(slot.s) + 1;
    return true;
  }
  WritableText Get() { return value; }
};

template <>
struct Param<Bytes> : OneSlot<Candidate::kString, 'O'> {
  Bytes value;
  bool Load(const Slot& slot) {
    char* data;
    Py_ssize_t length;
    if (PyString_AsStringAndSize(slot.o, &data, &length) == -1) return false;
    value = Bytes{data, static_cast<size_t>(length)};
    return true;
  }
  Bytes Get() { return value; }
};

// Library strings: exact bytes, NULs kept, copied before the call.
struct StringParam : Param<Bytes> {
  ::string copy;
  bool Load(const Slot& slot) {
    if (!Param<Bytes>::Load(slot)) return false;
    copy.assign(value.data, value.size);
    return true;
  }
};
template <>
struct Param<::string> : StringParam {
  ::string Get() { return std::move(copy); }
};
template <>
struct Param<const ::string&> : StringParam {
  const ::string& Get() { return copy; }
};
template <>
struct Param<const ::string*> : StringParam {
  const ::string* Get() { return &copy; }
};
template <>
struct Param<DiscardedString> : StringParam {
  DiscardedString Get() { return DiscardedString{copy}; }
};

// Name lists: a tuple or list of str, or a vector<string> pointer object.
template <>
struct Param<const vector<::string>&> : OneSlot<Candidate::kAny, 'O'> {
  vector<::string> local;
  vector<::string>* ptr = nullptr;
  bool Load(const Slot& slot) { return AsStringVector(slot.o, &local, &ptr); }
  const vector<::string>& Get() { return *ptr; }
};

template <class T, auto Value>
struct Param<Defaulted<T, Value>> : Param<T> {
  Param() {
    if constexpr (requires(Param<T> p) { p.value = Value; }) this->value = Value;
  }
  bool Load(const Slot& slot, char letter) {
    if constexpr (requires(Param<T> p) { p.Load(slot, letter); }) {
      return Param<T>::Load(slot, letter);
    } else {
      return Param<T>::Load(slot);
    }
  }
  Defaulted<T, Value> Get() { return Defaulted<T, Value>{Param<T>::Get()}; }
};

// Output arguments take no Python argument.
template <class T>
struct Param<Out<T>> {
  static constexpr int kSlots = 0;
  static constexpr Candidate kTest = Candidate::kAny;
  static constexpr bool Accepts(char) { return false; }
};

}  // namespace pq

#endif  // WRAPPERS_ARGUMENTS_H_
