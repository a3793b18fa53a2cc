// Result conversion by return type, and output-argument folding.
#ifndef WRAPPERS_RESULTS_H_
#define WRAPPERS_RESULTS_H_

#include <sys/types.h>

#include <type_traits>

#include "file/base/util/base_types.h"
#include "runtime/output.h"
#include "runtime/type_table.h"
#include "wrappers/arguments.h"

namespace pq {

// A pointer result handed to Python with ownership.
template <class T>
struct Owned {
  T* ptr;
};
template <class T>
struct IsOwned : std::false_type {};
template <class T>
struct IsOwned<Owned<T>> : std::true_type {
  using type = T;
};

inline PyObject* NewNone() {
  Py_INCREF(Py_None);
  return Py_None;
}

template <class R>
PyObject* ToPy(R&& r) {
  using T = std::remove_cvref_t<R>;
  if constexpr (std::is_same_v<T, PyObject*>) {
    return r;  // built by the module's own helper functions
  } else if constexpr (std::is_same_v<T, bool>) {
    return PyInt_FromLong(r ? 1 : 0);
  } else if constexpr (std::is_same_v<T, int64>) {
    return PyLong_FromLongLong(r);
  } else if constexpr (std::is_same_v<T, uint64>) {
    return PyLong_FromUnsignedLongLong(r);
  } else if constexpr (std::is_enum_v<T> || (std::is_integral_v<T> && sizeof(T) <= sizeof(long))) {
    return PyInt_FromLong(static_cast<long>(r));  // NOLINT
  } else if constexpr (std::is_floating_point_v<T>) {
    return PyFloat_FromDouble(r);
  } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
    return r ? PyString_FromString(r) : NewNone();
  } else if constexpr (std::is_base_of_v<std::string, T>) {
    return PyString_FromStringAndSize(r.data(), static_cast<Py_ssize_t>(r.size()));
  } else if constexpr (std::is_pointer_v<T>) {
    return SWIG_Python_NewPointerObj(const_cast<void*>(static_cast<const void*>(r)),
                                     TypeOf<std::remove_cv_t<std::remove_pointer_t<T>>>(), 0);
  } else if constexpr (IsOwned<T>::value) {
    return NewOwnedObject(r.ptr, TypeOf<typename IsOwned<T>::type>());
  } else {
    // A wrapped class by value: Python owns a heap copy.
    static_assert(Wrapped<T>, "result type cannot cross into Python");
    return NewOwnedObject(new T(std::forward<R>(r)), TypeOf<T>());
  }
}

// Output arguments, in their Python form.
template <class T>
PyObject* OutToPy(const Out<T>& out) {
  const T& v = out.value;
  if constexpr (std::is_same_v<T, vector<::string>>) {
    return ListFromStrings(v);
  } else if constexpr (std::is_same_v<T, vector<bool>>) {
    return ListFromBools(v);
  } else if constexpr (std::is_same_v<T, vector<FileStat>>) {
    return ListFromFileStats(v);
  } else if constexpr (std::is_same_v<T, vector<File*>>) {
    return ListFromFiles(v);
  } else {
    return ToPy(v);  // strings and 32-bit integers
  }
}

}  // namespace pq

#endif  // WRAPPERS_RESULTS_H_
