// File versions: members, text form and the total order.
#include "file/base/core/fileversion.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT

PQ_METHOD_LIST(kVersionMethods,
  def<"new_FileVersion", "", []() { return new FileVersion(); }>(),
  def<"delete_FileVersion", "O", [](FileVersion* v) { delete v; }>(),
  set_member<"FileVersion_time_set", "OO", &FileVersion::time>(),
  get_member<"FileVersion_time_get", &FileVersion::time>(),
  set_member<"FileVersion_creator_set", "OO", &FileVersion::creator>(),
  get_member<"FileVersion_creator_get", &FileVersion::creator>(),
  def<"FileVersion_Clear", "O", [](FileVersion& v) { v.Clear(); }>(),
  def<"FileVersion_IsEmpty", "O", [](const FileVersion& v) { return v.IsEmpty(); }>(),
  def<"FileVersion_ToString", "O", [](const FileVersion& v) { return v.ToString(); }>(),
  def<"FileVersion_FromString", "Os", &FileVersion::FromString>(),
  def<"FileVersion_cmp", "OO", &FileVersion::cmp, NoReceiver>(),
  def<"FileVersion___eq__", "OO", [](const FileVersion& a, const FileVersion& b) { return (a == b); }>(),
  def<"FileVersion___ne__", "OO", [](const FileVersion& a, const FileVersion& b) { return (a != b); }>(),
  def<"FileVersion___le__", "OO", [](const FileVersion& a, const FileVersion& b) { return (a <= b); }>(),
  def<"FileVersion___ge__", "OO", [](const FileVersion& a, const FileVersion& b) { return (a >= b); }>(),
  def<"FileVersion___lt__", "OO", [](const FileVersion& a, const FileVersion& b) { return (a < b); }>(),
  def<"FileVersion___gt__", "OO", [](const FileVersion& a, const FileVersion& b) { return (a > b); }>(),
  registration<"FileVersion_swigregister", FileVersion>()
)
