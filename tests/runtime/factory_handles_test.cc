// Factory look-ups hand Python an owned copy of the shared handle.
#include <cstring>
#include <memory>

#include "file/base/file.h"
#include "runtime/type_table.h"
#include "tests/runtime/interpreter.h"
#include "wrappers/method_table.h"

namespace {

using pq_test::Eval;
using pq_test::Ref;
using pq_test::TakeError;

TEST(FactoryHandles, LookUpsAreOwnedCopiesEvenWhenEmpty) {
  PyCFunction find = nullptr;
  for (PyMethodDef* row = pq::MethodTable(); row->ml_name != nullptr; ++row) {
    if (std::strcmp(row->ml_name, "FileFactory_Find") == 0) find = row->ml_meth;
  }
  ASSERT_NE(find, nullptr);
  swig_type_info* type = pq::TypeOf<shared_ptr<FileFactory>>();
  Ref cls(Eval("type('Shared', (object,), {'__init__': lambda self, t: setattr(self, 'this', t)})"));
  SWIG_Python_TypeClientData(type, cls);
  for (const char* expression : {"('mem',)", "('pqtest-no-such-kind',)"}) {
    Ref args(Eval(expression));
    Ref found(find(nullptr, args));
    ASSERT_NE(found.get(), nullptr) << TakeError();
    Ref own(PyObject_GetAttrString(found, "thisown"));
    ASSERT_NE(own.get(), nullptr) << TakeError();
    EXPECT_EQ(PyInt_AsLong(own), 1) << expression;
    void* copy = nullptr;
    ASSERT_EQ(SWIG_Python_ConvertPtr(found, &copy, type, 0), 0);
    auto* handle = static_cast<shared_ptr<FileFactory>*>(copy);
    EXPECT_EQ(*handle, FileFactory::Find(PyString_AsString(PyTuple_GetItem(args, 0))));
    delete handle;  // no proxy layer here to do it
  }
  SWIG_Python_TypeClientData(type, nullptr);
}

}  // namespace
