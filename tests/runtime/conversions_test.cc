// The named conversions, output folding, list helpers and the exception
// mapping. What the wrappers show of them (argument errors, lists,
// the link object) is checked through the module by tests/python.
#include <cstdio>
#include <cstring>

#include "runtime/constants.h"
#include "runtime/convert.h"
#include "runtime/output.h"
#include "runtime/type_table.h"
#include "tests/runtime/interpreter.h"

namespace {

using pq_test::Eval;
using pq_test::Ref;
using pq_test::TakeError;

std::string Repr(PyObject* o) {
  Ref r(PyObject_Repr(o));
  return PyString_AsString(r);
}

TEST(Conversions, Numbers) {
  Ref one(SwigInt_FromBool(true));
  EXPECT_TRUE(PyInt_CheckExact(one.get()) && Repr(one) == "1");
  for (auto [expression, value] : {std::pair<const char*, double>{"3", 3.0}, {"2.5", 2.5}, {"7L", 7.0}, {"2**40", 0x1p40}}) {
    Ref o(Eval(expression));
    EXPECT_TRUE(SwigNumber_Check(o) == 1 && SwigNumber_AsDouble(o) == value) << expression;
  }
  Ref text(Eval("'x'")), huge(Eval("2**70"));  // a double from a long goes through a machine long
  EXPECT_EQ(SwigNumber_Check(text), 0);
  EXPECT_EQ(TakeError(), "");
  EXPECT_EQ(SwigNumber_AsDouble(huge), -1.0);
  EXPECT_EQ(TakeError().rfind("OverflowError", 0), 0u);
}

TEST(Conversions, IntOrLong) {
  Ref minus_one(Eval("-1")), minus_one_long(Eval("-1L")), max(Eval("2**64-1")), text(Eval("'5'"));
  EXPECT_EQ(std::make_pair(SwigPyIntOrLong_Check(minus_one), SwigPyIntOrLong_Check(text)), std::make_pair(1, 0));
  EXPECT_EQ(SwigPyIntOrLong_AsUnsignedLongLong(minus_one), 18446744073709551615ULL);
  EXPECT_EQ(SwigPyIntOrLong_AsUnsignedLongLong(max), 18446744073709551615ULL);
  SwigPyIntOrLong_AsUnsignedLongLong(minus_one_long);
  EXPECT_EQ(TakeError().rfind("OverflowError", 0), 0u);
  EXPECT_EQ(std::make_pair(SwigPyIntOrLong_AsLongLong(minus_one), SwigPyIntOrLong_AsLongLong(minus_one_long)),
            std::make_pair(int64{-1}, int64{-1}));
}

TEST(ConversionsDeathTest, NonNumbersEndTheProcess) {
  Ref text(Eval("'5'"));
  EXPECT_DEATH(SwigPyIntOrLong_AsUnsignedLongLong(text),
               "^Int or Long expected in SwigIntOrLong_AsUnsignedLongLong$");
  EXPECT_DEATH(SwigPyIntOrLong_AsLongLong(text), "^Int or Long expected in SwigIntOrLong_AsLongLong$");
}

TEST(Conversions, Strings) {
  Ref with_nul(PyString_FromStringAndSize("a\0b", 3));
  EXPECT_EQ(SwigString_AsString(with_nul), std::string("a"));
  EXPECT_EQ(SwigString_AsUnqualifiedString(with_nul), ::string("a\0b", 3));
  Ref back(SwigString_FromUnqualifiedString(::string("x\0y", 3))), back2(SwigString_FromString(std::string("x\0yz", 4)));
  Ref back3(PyString_FromUnqualifiedCXXString(::string("\0", 1)));
  EXPECT_EQ(std::make_tuple(PyString_Size(back), PyString_Size(back2), PyString_Size(back3)), std::make_tuple(3, 4, 1));
}

TEST(OutputHelper, Folding) {
  auto fold = [](const char* result, const char* out) {
    PyObject* r = std::strcmp(result, "NULL") == 0 ? nullptr : Eval(result);
    Ref folded(t_output_helper(r, Eval(out)));
    return Repr(folded);
  };
  EXPECT_EQ(fold("None", "'x'"), "'x'");
  EXPECT_EQ(fold("NULL", "'x'"), "'x'");
  EXPECT_EQ(fold("1", "'x'"), "(1, 'x')");
  EXPECT_EQ(fold("(1, 2)", "'x'"), "(1, 2, 'x')");
  EXPECT_EQ(fold("1", "(7,)"), "(1, (7,))");
  EXPECT_EQ(fold("[1]", "2"), "([1], 2)");
}

TEST(OutputHelper, ListsOfNothingAndFailedElements) {
  Ref none(list_output_helper(static_cast<const vector<int>*>(nullptr), PyInt_FromLong));
  EXPECT_EQ(none.get(), Py_None);
  vector<int> v = {1, 2};
  Ref failed(list_output_helper(&v, [](int) -> PyObject* {
    PyErr_SetString(PyExc_ValueError, "bad element");
    return nullptr;
  }));
  EXPECT_EQ(failed.get(), nullptr);
  EXPECT_EQ(TakeError(), "ValueError: bad element");
}

// Lists, tuples, vector pointers, other vectors and non-sequences go through
// the wrappers in tests/python/test_factory.py; these are the cases it leaves.
TEST(StringVectorInput, KeepsNulsAndRefusesUnicodeItemsAndSets) {
  vector<::string> local;
  vector<::string>* result = nullptr;
  Ref list(Eval("['a', 'b\\0c']"));
  ASSERT_TRUE(pq::AsStringVector(list, &local, &result) && result == &local);
  EXPECT_EQ(local, (vector<::string>{"a", ::string("b\0c", 3)}));
  for (const char* bad : {"['a', u'b']", "set(['a'])"}) {
    Ref o(Eval(bad));
    EXPECT_FALSE(pq::AsStringVector(o, &local, &result)) << bad;
    EXPECT_EQ(TakeError(), "TypeError: vector<::string> expected") << bad;
  }
}

TEST(Constants, ExceptionMapping) {
  const char* expected[] = {"RuntimeError", "MemoryError", "IOError", "RuntimeError", "IndexError",
                            "TypeError", "ZeroDivisionError", "OverflowError", "SyntaxError",
                            "ValueError", "SystemError", "RuntimeError"};
  for (int code = 0; code <= 11; ++code) {
    SWIG_exception_(code, "m");
    EXPECT_EQ(TakeError(), std::string(expected[code]) + ": m") << code;
  }
}

}  // namespace
