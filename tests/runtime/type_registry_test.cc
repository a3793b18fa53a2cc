// Type registration, equivalent types, pointer text and packed data (proxies and ownership: tests/python/test_pointers.py). The
// module registers each type list once, under its own name.
#include <cstring>

#include "file/base/core/async.h"
#include "runtime/type_table.h"
#include "tests/runtime/interpreter.h"

namespace {

using pq_test::Ref;
using pq_test::TakeError;

swig_type_info* Slot(const char* mangled) {
  for (int i = 0; i < pq::kTypeCount; ++i) {
    if (std::strcmp(swig_types[i]->name, mangled) == 0) return swig_types[i];
  }
  return nullptr;
}

// Registered in table order: the last one heads the list.
TEST(TypeRegistry, AllTypesRegisteredAndFoundByEitherName) {
  EXPECT_STREQ(Slot("_p_Callback1Tstring_const_R_t")->str, "Callback1<string const & > *");
  EXPECT_EQ(RegisteredTypesHead(), swig_types[pq::kTypeCount - 1]);
  EXPECT_TRUE(SWIG_Python_TypeQuery("File *") == pq::TypeOf<File>() && SWIG_Python_TypeQuery("_p_File") == pq::TypeOf<File>());
  EXPECT_EQ(SWIG_Python_TypeQuery("nothing"), nullptr);
  EXPECT_STREQ(SWIG_Python_TypeName(pq::TypeOf<File>()), "_p_File");
}

// Subclasses are accepted for their base and not the reverse (tests/python/
// test_pointers.py); equivalent types both ways, and their proxy class too.
TEST(TypeRegistry, EquivalentTypesBothWaysAndClientDataReachesThemButNotSubclasses) {
  EXPECT_TRUE(SWIG_Python_TypeCheck("_p_size_t", pq::TypeOf<uint32>()) && SWIG_Python_TypeCheck("_p_uint32", pq::TypeOf<size_t>()));
  EXPECT_EQ(SWIG_Python_TypeCheck("_p_int", pq::TypeOf<uint32>()), nullptr);
  Ref cls(pq_test::Eval("type('C', (object,), {})"));
  SWIG_Python_TypeClientData(pq::TypeOf<uint32>(), cls);
  EXPECT_TRUE(pq::TypeOf<uint32>()->clientdata == cls.get() && pq::TypeOf<size_t>()->clientdata == cls.get());
  Ref base(pq_test::Eval("type('B', (object,), {})"));
  SWIG_Python_TypeClientData(pq::TypeOf<AsyncIO>(), base);
  EXPECT_TRUE(pq::TypeOf<AsyncIO>()->clientdata == base.get() && pq::TypeOf<AsyncIOWatcher>()->clientdata != base.get());
  SWIG_Python_TypeClientData(pq::TypeOf<uint32>(), nullptr);
  SWIG_Python_TypeClientData(pq::TypeOf<AsyncIO>(), nullptr);
}

// Upper case is no digit, and a short text stops at its end (never read past).
TEST(PointerText, ShortAndUpperCaseTextsStopAtTheirEnd) {
  unsigned char bytes[3] = {1, 2, 3};
  SWIG_Python_UnpackData("AB", bytes, 3);
  EXPECT_EQ(bytes[0] | bytes[2], 0x00);
}

TEST(PointerText, ConvertPtrTextsAndFlags) {
  void* p = reinterpret_cast<void*>(0x1234);
  Ref text(SWIG_Python_NewPointerObj(p, pq::TypeOf<File>(), 0));
  EXPECT_STREQ(PyString_AsString(text), "_3412000000000000_p_File");
  void* out = nullptr;
  EXPECT_TRUE(SWIG_Python_ConvertPtr(text, &out, pq::TypeOf<File>(), 1) == 0 && out == p);
  EXPECT_EQ(SWIG_Python_ConvertPtr(text, &out, nullptr, 1), 0);  // untyped
  out = p;
  EXPECT_TRUE(SWIG_Python_ConvertPtr(nullptr, &out, pq::TypeOf<File>(), 1) == 0 && out == p);  // untouched
  EXPECT_TRUE(SWIG_Python_ConvertPtr(Py_None, &out, pq::TypeOf<File>(), 1) == 0 && out == nullptr);
  EXPECT_EQ(SWIG_Python_ConvertPtr(text, &out, pq::TypeOf<FileStat>(), 0), -1);
  EXPECT_EQ(TakeError(), "");  // flag 0 raises nothing
  EXPECT_EQ(SWIG_Python_MustGetPtr(text, pq::TypeOf<File>(), 1, 0), p);
  EXPECT_EQ(SWIG_Python_MustGetPtr(text, pq::TypeOf<FileStat>(), 1, 0), nullptr);
  EXPECT_EQ(TakeError(), "TypeError: Type error. Got _p_File, expected _p_FileStat");
}

TEST(PackedData, LimitAndRoundTrip) {
  unsigned char data[4] = {1, 2, 0xfe, 0xff};
  Ref packed(SWIG_Python_NewPackedObj(data, 4, pq::TypeOf<Cord>()));
  EXPECT_STREQ(PyString_AsString(packed), "_0102feff_p_Cord");
  unsigned char back[4] = {};
  EXPECT_TRUE(SWIG_Python_ConvertPacked(packed, back, 4, pq::TypeOf<Cord>(), 1) == 0 && std::memcmp(back, data, 4) == 0);
  EXPECT_EQ(SWIG_Python_ConvertPacked(packed, back, 4, pq::TypeOf<File>(), 1), -1);
  EXPECT_EQ(TakeError(), "TypeError: Type error. Got _p_Cord, expected _p_File");
  Ref number(PyInt_FromLong(3));
  EXPECT_EQ(SWIG_Python_ConvertPacked(number, back, 4, pq::TypeOf<File>(), 1), -1);
  EXPECT_EQ(TakeError(), "TypeError: Expected a pointer");
  static unsigned char big[600];
  EXPECT_EQ(SWIG_Python_NewPackedObj(big, 497, pq::TypeOf<Cord>()), nullptr);  // 994+7+1 > 1000
  EXPECT_EQ(TakeError(), "");
  Ref fits(SWIG_Python_NewPackedObj(big, 496, pq::TypeOf<Cord>()));
  EXPECT_NE(fits.get(), nullptr);
}

}  // namespace
