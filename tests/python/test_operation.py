"""Operation rows, and the errors and deadlines the ...WithOp functions record in it."""
import signal

import file_roots
import pqtest
from pqtest import m

OperationProxy = pqtest.register_proxy('Operation')


class OperationRecordTest(pqtest.TestCase):
    def test_fresh_operation(self):
        op = m.new_Operation()
        self.assertIsInstance(op, OperationProxy)
        self.assertEqual(op.thisown, 1)
        self.assertIntResult(m.Operation_ok(op), 1)
        self.assertIntResult(m.Operation_error(op), 0)
        self.assertIntResult(m.Operation_HasDeadline(op), 0)
        self.assertIntResult(m.Operation_retry(op), 0)
        self.assertEqual(m.Operation_Status(op), 'OK')
        self.assertEqual(m.Operation_descriptor(op), '')
        self.assertEqual(m.Operation_resource_user(op), '')
        self.assertIs(m.Operation_InternalFinish(op), None)
        self.assertIs(m.Operation_CheckSuccess(op), None)
        self.assertIs(m.delete_Operation(op), None)
        self.assertIs(m.delete_Operation(None), None)

    def test_retry_flag(self):
        op = m.new_Operation()
        self.assertIs(m.Operation_set_retry(op, 2), None)
        self.assertIntResult(m.Operation_retry(op), 1)
        m.Operation_set_retry(op, 0L)
        self.assertIntResult(m.Operation_retry(op), 0)
        self.assertRaises(TypeError, m.Operation_set_retry, op, 'yes')
        self.assertIntResult(m.Operation_retry(op), 0)

    def test_resource_user_is_byte_exact(self):
        op = m.new_Operation()
        m.Operation_set_resource_user(op, 'team\0a')
        self.assertEqual(m.Operation_resource_user(op), 'team\0a')
        self.assertRaises(TypeError, m.Operation_set_resource_user, op, 5)
        self.assertEqual(m.Operation_resource_user(op), 'team\0a')

    def test_value_results_are_pointer_objects(self):
        op = m.new_Operation()
        m.Operation_SetDeadlineLength(op, 30.0)
        self.assertTrue(pqtest.is_pointer_text(m.Operation_ToStatus(op), '_p_util__Status'))
        self.assertTrue(pqtest.is_pointer_text(m.Operation_GetDeadline(op), '_p_WallTime'))
        self.assertTrue(pqtest.is_pointer_text(m.Operation_priority(op), '_p_util__Priority'))
        self.assertTrue(pqtest.is_pointer_text(m.Operation_traffic_class(op),
                                               '_p_net_base__OptionalTrafficClass'))
        # Copies are fresh objects; the traffic class lives in the record.
        self.assertNotEqual(m.Operation_GetDeadline(op), m.Operation_GetDeadline(op))
        self.assertEqual(m.Operation_traffic_class(op), m.Operation_traffic_class(op))

    def test_values_travel_between_operations(self):
        a, b = m.new_Operation(), m.new_Operation()
        m.Operation_set_priority(b, m.Operation_priority(a))
        m.Operation_set_traffic_class(b, m.Operation_traffic_class(a))
        m.Operation_SetDeadlineLength(a, -1.0)
        m.Operation_SetAbsoluteDeadline(b, m.Operation_GetDeadline(a))
        self.assertIntResult(m.Operation_HasDeadline(b), 1)
        self.assertIntResult(m.File_ExistsWithOp('/', b), 0)
        self.assertIntResult(m.Operation_error(b), m.ERROR_DEADLINE_EXCEEDED)
        m.Operation_ClearDeadline(b)
        self.assertIntResult(m.Operation_HasDeadline(b), 0)
        self.assertIntResult(m.File_ExistsWithOp('/', b), 1)
        self.assertIntResult(m.Operation_ok(b), 1)

    def test_null_references_change_nothing(self):
        op = m.new_Operation()
        self.assertTypeError('null reference', m.Operation_SetError, op, 3, None)
        self.assertIntResult(m.Operation_ok(op), 1)
        self.assertTypeError('null reference', m.Operation_InternalStart, op, None, None)
        self.assertEqual(m.Operation_descriptor(op), '')
        self.assertTypeError('null reference', m.Operation_CopyFrom, op, None)
        self.assertTypeError('null reference', m.Operation_SetAbsoluteDeadline, op, None)
        self.assertIntResult(m.Operation_HasDeadline(op), 0)
        self.assertTypeError('null reference', m.Operation_set_traffic_class, op, 'NULL')
        self.assertTypeError('null reference', m.Operation_set_priority, op, None)
        self.assertTypeError('null reference', m.Operation_error, None)
        self.assertTypeError('Type error. Got _p_FileStat, expected _p_file__Operation',
                             m.Operation_ok, m.new_FileStat())

    def test_argument_errors(self):
        op = m.new_Operation()
        self.assertRaises(TypeError, m.Operation_SetDeadlineLength, op, 'soon')
        self.assertRaises(TypeError, m.Operation_SetError, op, 'x', None)
        self.assertRaises(TypeError, m.new_Operation, 1)

    def test_copy_from_takes_error_and_settings(self):
        failed, copy = m.new_Operation(), m.new_Operation()
        self.assertIntResult(m.File_ExistsWithOp('', failed), 0)
        m.Operation_set_retry(failed, 1)
        m.Operation_set_resource_user(failed, 'me')
        m.Operation_CopyFrom(copy, failed)
        self.assertIntResult(m.Operation_error(copy), m.ERROR_INVALID_ARGUMENT)
        self.assertEqual(m.Operation_Status(copy), m.Operation_Status(failed))
        self.assertIntResult(m.Operation_retry(copy), 1)
        self.assertEqual(m.Operation_resource_user(copy), 'me')
        m.Operation_ClearError(copy)
        self.assertIntResult(m.Operation_ok(copy), 1)
        self.assertEqual(m.Operation_Status(copy), 'OK')

    def test_check_success_on_a_failed_operation_ends_the_process(self):
        status, out, err = pqtest.run_python(
            'import _file_base_pyquarry as m\n'
            'op = m.new_Operation()\n'
            'm.File_ExistsWithOp("", op)\n'
            'm.Operation_CheckSuccess(op)\n'
            'print "survived"')
        self.assertEqual(status, -signal.SIGABRT, err)
        self.assertNotIn('survived', out)
        self.assertIn('Check failed', err)
        self.assertIn('invalid argument', err)


@file_roots.on_each_file_system
class WithOpErrorCases(file_roots.FileCases):
    """Each ...WithOp failure leaves its own error code in the Operation."""

    def assertFails(self, op, code, result):
        self.assertIntResult(result, 0)
        self.assertIntResult(m.Operation_ok(op), 0)
        self.assertIntResult(m.Operation_error(op), code)
        self.assertTrue(m.Operation_Status(op).startswith(m.ErrorToString(code) + ': '),
                        m.Operation_Status(op))

    def test_error_codes_by_cause(self):
        op = m.new_Operation()
        missing = self.path('missing')
        stat = m.new_FileStat()
        self.assertFails(op, m.ERROR_NOT_FOUND, m.File_StatWithOp(missing, stat, op))
        self.assertIn(missing, m.Operation_descriptor(op))
        self.assertIn(missing, m.Operation_Status(op))
        self.assertFails(op, m.ERROR_NOT_FOUND, m.File_RenameWithOp(missing, self.path('x'), 0, op))

        self.assertIntResult(m.File_CreateDir(self.path('d'), 0o755), 1)
        self.put('d/f', 'x')
        self.assertFails(op, m.ERROR_ALREADY_EXISTS, m.File_CreateDirWithOp(self.path('d'), 0o755, op))
        self.assertFails(op, m.ERROR_NOT_EMPTY, m.File_DeleteDirWithOp(self.path('d'), op))
        self.assertFails(op, m.ERROR_WRONG_TYPE, m.File_DeleteDirWithOp(self.path('d/f'), op))
        self.assertFails(op, m.ERROR_INVALID_ARGUMENT, m.File_StatWithOp('', stat, op))
        self.assertFails(op, m.ERROR_INVALID_ARGUMENT, m.File_StatWithOp(missing, None, op))

        # Success clears what an earlier failure left.
        self.assertIntResult(m.File_StatWithOp(self.path('d/f'), stat, op), 1)
        self.assertIntResult(m.Operation_ok(op), 1)
        self.assertEqual(m.Operation_Status(op), 'OK')

    def test_passed_deadline_does_no_work(self):
        op = m.new_Operation()
        m.Operation_SetDeadlineLength(op, -0.5)
        target = self.path('never')
        self.assertFails(op, m.ERROR_DEADLINE_EXCEEDED, m.File_CreateDirWithOp(target, 0o755, op))
        self.assertIntResult(m.File_Exists(target), 0)
        existing = self.put('f', 'data')
        self.assertFails(op, m.ERROR_DEADLINE_EXCEEDED, m.File_ExistsWithOp(existing, op))
        self.assertFails(op, m.ERROR_DEADLINE_EXCEEDED, m.File_RenameWithOp(existing, target, 1, op))
        self.assertIntResult(m.File_Exists(existing), 1)

        f = self.handle('f', 'r')
        self.assertIs(m.File_PReadStringWithOp(f, 0, 4, op), None)
        self.assertIntResult(m.Operation_error(op), m.ERROR_DEADLINE_EXCEEDED)
        m.Operation_SetDeadlineLength(op, 60.0)
        self.assertEqual(m.File_PReadStringWithOp(f, 0, 4, op), 'data')
        self.assertIntResult(m.Operation_ok(op), 1)

    def test_handle_errors_reach_the_operation(self):
        op = m.new_Operation()
        f = self.handle('w', 'w')
        self.assertIs(m.File_PReadStringWithOp(f, 0, 4, op), None)
        self.assertIntResult(m.Operation_error(op), m.ERROR_PERMISSION_DENIED)
        self.assertLongResult(m.File_PWriteStringWithOp(f, 0, 'ab', op), 2)
        self.assertIntResult(m.Operation_ok(op), 1)

    def test_bulk_operations_record_the_first_failure(self):
        op = m.new_Operation()
        a = self.put('a', '1')
        ok, flags = m.File_BulkDeleteWithOp([a, self.path('missing')], op)
        self.assertEqual((ok, flags), (0, [1, 0]))
        self.assertIntResult(m.Operation_error(op), m.ERROR_NOT_FOUND)


if __name__ == '__main__':
    pqtest.main()
