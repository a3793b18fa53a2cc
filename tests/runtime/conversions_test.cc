// The named conversions, output folding, list helpers, constants, the
// exception mapping and the link object's printing.
#include <cstdio>
#include <cstring>

#include "runtime/constants.h"
#include "runtime/convert.h"
#include "runtime/output.h"
#include "runtime/type_table.h"
#include "runtime/varlink.h"
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
  EXPECT_TRUE(PyInt_CheckExact(one.get()));
  EXPECT_EQ(Repr(one), "1");
  Ref three(Eval("3")), f(Eval("2.5")), big(Eval("2**40")), text(Eval("'x'"));
  EXPECT_EQ(SwigNumber_Check(three), 1);
  EXPECT_EQ(SwigNumber_Check(f), 1);
  EXPECT_EQ(SwigNumber_Check(big), 1);
  EXPECT_EQ(SwigNumber_Check(text), 0);
  EXPECT_EQ(SwigNumber_AsDouble(three), 3.0);
  EXPECT_EQ(SwigNumber_AsDouble(f), 2.5);
  Ref small_long(Eval("7L"));
  EXPECT_EQ(SwigNumber_AsDouble(small_long), 7.0);
  EXPECT_EQ(TakeError(), "");
  Ref huge(Eval("2**70"));  // a double from a long goes through a machine long
  EXPECT_EQ(SwigNumber_AsDouble(huge), -1.0);
  EXPECT_EQ(TakeError().rfind("OverflowError", 0), 0u);
}

TEST(Conversions, IntOrLong) {
  Ref minus_one(Eval("-1")), minus_one_long(Eval("-1L")), max(Eval("2**64-1")), text(Eval("'5'"));
  EXPECT_EQ(SwigPyIntOrLong_Check(minus_one), 1);
  EXPECT_EQ(SwigPyIntOrLong_Check(text), 0);
  EXPECT_EQ(SwigPyIntOrLong_AsUnsignedLongLong(minus_one), 18446744073709551615ULL);
  EXPECT_EQ(SwigPyIntOrLong_AsUnsignedLongLong(max), 18446744073709551615ULL);
  SwigPyIntOrLong_AsUnsignedLongLong(minus_one_long);
  EXPECT_EQ(TakeError().rfind("OverflowError", 0), 0u);
  EXPECT_EQ(SwigPyIntOrLong_AsLongLong(minus_one), -1);
  EXPECT_EQ(SwigPyIntOrLong_AsLongLong(minus_one_long), -1);
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
  Ref back(SwigString_FromUnqualifiedString(::string("x\0y", 3)));
  EXPECT_EQ(PyString_Size(back), 3);
  Ref back2(SwigString_FromString(std::string("x\0yz", 4)));
  EXPECT_EQ(PyString_Size(back2), 4);
  Ref back3(PyString_FromUnqualifiedCXXString(::string("\0", 1)));
  EXPECT_EQ(PyString_Size(back3), 1);
}

TEST(Conversions, SixtyFourBitArgumentRules) {
  Ref five(Eval("5")), minus(Eval("-5")), text(Eval("'5'")), huge(Eval("2**64"));
  EXPECT_EQ(pq::AsUInt64(five), 5u);
  EXPECT_EQ(TakeError(), "");
  pq::AsUInt64(minus);
  EXPECT_EQ(TakeError().rfind("OverflowError", 0), 0u);
  pq::AsUInt64(text);
  EXPECT_EQ(TakeError().rfind("TypeError", 0), 0u);
  pq::AsUInt64(huge);
  EXPECT_EQ(TakeError().rfind("OverflowError", 0), 0u);
  EXPECT_EQ(pq::AsInt64(minus), -5);
  pq::AsInt64(text);
  EXPECT_EQ(TakeError().rfind("TypeError", 0), 0u);
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

TEST(OutputHelper, Lists) {
  vector<::string> names = {"a", ::string("b\0c", 3)};
  Ref list(pq::ListFromStrings(names));
  EXPECT_EQ(Repr(list), "['a', 'b\\x00c']");
  Ref flags(pq::ListFromBools({true, false, true}));
  EXPECT_EQ(Repr(flags), "[1, 0, 1]");
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

TEST(StringVectorInput, SequencesAndPointers) {
  vector<::string> local;
  vector<::string>* result = nullptr;
  Ref list(Eval("['a', 'b\\0c']"));
  ASSERT_TRUE(pq::AsStringVector(list, &local, &result));
  EXPECT_EQ(result, &local);
  ASSERT_EQ(local.size(), 2u);
  EXPECT_EQ(local[1].size(), 3u);
  Ref empty(Eval("()"));
  ASSERT_TRUE(pq::AsStringVector(empty, &local, &result));
  EXPECT_TRUE(local.empty());
  for (const char* bad : {"['a', u'b']", "['a', 1]", "5", "set(['a'])", "None"}) {
    Ref o(Eval(bad));
    EXPECT_FALSE(pq::AsStringVector(o, &local, &result)) << bad;
    EXPECT_EQ(TakeError(), "TypeError: vector<::string> expected") << bad;
  }
  vector<::string> mine = {"z"};
  Ref pointer(SWIG_Python_NewPointerObj(&mine, pq::TypeOf<vector<::string>>(), 0));
  ASSERT_TRUE(pq::AsStringVector(pointer, &local, &result));
  EXPECT_EQ(result, &mine);
  Ref other_vector(SWIG_Python_NewPointerObj(&mine, pq::TypeOf<pq::StdStringVectorTag>(), 0));
  EXPECT_FALSE(pq::AsStringVector(other_vector, &local, &result));
  EXPECT_EQ(TakeError(), "TypeError: vector<::string> expected");
}

TEST(Constants, InstallSkipsRowsWithoutAValue) {
  static ConstantRow table[] = {
      {kConstantInteger, "a", 5, 0, nullptr, nullptr},
      {kConstantFloat, "b", 0, 1.5, nullptr, nullptr},
      {kConstantString, "c", 0, 0, const_cast<char*>("text"), nullptr},
      {99, "d", 0, 0, nullptr, nullptr},
      {0, nullptr, 0, 0, nullptr, nullptr}};
  Ref d(PyDict_New());
  SWIG_Python_InstallConstants(d, table);
  EXPECT_EQ(Repr(d.get()), "{'a': 5, 'c': 'text', 'b': 1.5}");
  int rows = 0;
  for (ConstantRow* c = swig_const_table; c->type; ++c) ++rows;
  EXPECT_EQ(rows, 86);
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

TEST(VarLink, PrintsNamesNewestFirst) {
  PyObject* link = SWIG_Python_newvarlink();
  SWIG_Python_addvarlink(link, "first", [] { return PyInt_FromLong(1); }, [](PyObject*) { return 0; });
  SWIG_Python_addvarlink(link, "second", [] { return PyInt_FromLong(2); }, [](PyObject*) { return 1; });
  char buffer[128] = {};
  FILE* f = fmemopen(buffer, sizeof(buffer), "w");
  PyObject_Print(link, f, 0);
  std::fclose(f);
  EXPECT_STREQ(buffer, "Global variables { second, first }\n");
  Ref value(PyObject_GetAttrString(link, "first"));
  EXPECT_EQ(PyInt_AsLong(value), 1);
  EXPECT_EQ(PyObject_GetAttrString(link, "third"), nullptr);
  EXPECT_EQ(TakeError(), "NameError: Unknown C global variable");
  EXPECT_EQ(Repr(link), "<Global variables>");
}

}  // namespace
