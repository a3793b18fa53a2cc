// file::Operation, the per-call record of the ...WithOp functions. Values
// the library returns by value (status, deadline, priority) come back as
// owned copies; the traffic class is a pointer into the record.
#include "file/base/core/operation.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT: the rows read best unqualified

using file::Operation;

PQ_METHOD_LIST(kOperationMethods,
  def<"new_Operation", "", []() { return new Operation(); }>(),
  def<"delete_Operation", "O", [](Operation* op) { delete op; }>(),
  def<"Operation_error", "O", [](const Operation& op) { return op.error(); }>(),
  def<"Operation_ok", "O", [](const Operation& op) { return op.ok(); }>(),
  def<"Operation_CheckSuccess", "O", [](const Operation& op) { op.CheckSuccess(); }>(),
  def<"Operation_Status", "O", [](const Operation& op) { return op.Status(); }>(),
  def<"Operation_ToStatus", "O", [](const Operation& op) { return op.ToStatus(); }>(),
  def<"Operation_CopyFrom", "OO", [](Operation& op, const Operation& other) { op.CopyFrom(other); }>(),
  def<"Operation_SetDeadlineLength", "Od", [](Operation& op, double seconds) { op.SetDeadlineLength(seconds); }>(),
  def<"Operation_SetAbsoluteDeadline", "OO", [](Operation& op, const WallTime& when) {
    op.SetAbsoluteDeadline(when);
  }>(),
  def<"Operation_ClearDeadline", "O", [](Operation& op) { op.ClearDeadline(); }>(),
  def<"Operation_HasDeadline", "O", [](const Operation& op) { return op.HasDeadline(); }>(),
  def<"Operation_GetDeadline", "O", [](const Operation& op) {
    return Owned<WallTime>{new WallTime(op.GetDeadline())};
  }>(),
  def<"Operation_priority", "O", [](const Operation& op) { return op.priority(); }>(),
  def<"Operation_set_priority", "OO", [](Operation& op, util::Priority p) { op.set_priority(p); }>(),
  def<"Operation_InternalStart", "OOO", [](Operation& op, const StringPiece& method, const StringPiece& file) {
    op.InternalStart(method, file);
  }>(),
  def<"Operation_InternalFinish", "O", [](Operation& op) { op.InternalFinish(); }>(),
  def<"Operation_SetError", "OiO", [](Operation& op, file::ErrorCode code, const StringPiece& message) {
    op.SetError(code, message);
  }>(),
  def<"Operation_ClearError", "O", [](Operation& op) { op.ClearError(); }>(),
  def<"Operation_retry", "O", [](const Operation& op) { return op.retry(); }>(),
  def<"Operation_set_retry", "OO", [](Operation& op, bool retry) { op.set_retry(retry); }>(),
  def<"Operation_descriptor", "O", [](const Operation& op) { return op.descriptor(); }>(),
  def<"Operation_resource_user", "O", [](const Operation& op) { return op.resource_user(); }>(),
  def<"Operation_set_resource_user", "OO", [](Operation& op, const ::string& user) {
    op.set_resource_user(user);
  }>(),
  def<"Operation_traffic_class", "O", [](const Operation& op) { return &op.traffic_class(); }>(),
  def<"Operation_set_traffic_class", "OO", [](Operation& op, const net_base::OptionalTrafficClass& tc) {
    op.set_traffic_class(tc);
  }>(),
  registration<"Operation_swigregister", Operation>()
)
