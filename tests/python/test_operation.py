"""Operation rows, the errors and deadlines the ...WithOp functions record in it, and
asynchronous completion objects waited on from Python threads."""
import threading
import time

import pqtest
from pqtest import assert_results, m


class OperationAndWatcherTest(pqtest.TestCase):
    def test_value_results_travel_and_copies_carry_the_error(self):
        op = m.new_Operation()
        m.Operation_SetDeadlineLength(op, 30.0)
        self.assertTrue(pqtest.is_pointer_text(m.Operation_ToStatus(op), '_p_util__Status'))
        # Copies are fresh objects that travel between operations.
        self.assertNotEqual(m.Operation_GetDeadline(op), m.Operation_GetDeadline(op))
        a, b = m.new_Operation(), m.new_Operation()
        m.Operation_SetDeadlineLength(a, -1.0)
        m.Operation_SetAbsoluteDeadline(b, m.Operation_GetDeadline(a))
        assert_results(self, [m.Operation_HasDeadline(b), m.File_ExistsWithOp('/', b), m.Operation_error(b)],
                       [1, 0, m.ERROR_DEADLINE_EXCEEDED])
        self.assertEqual((m.Operation_ClearDeadline(b), m.Operation_HasDeadline(b)), (None, 0))
        failed, copy = m.new_Operation(), m.new_Operation()
        self.assertIntResult(m.File_ExistsWithOp('', failed), 0)
        m.Operation_CopyFrom(copy, failed)
        self.assertIntResult(m.Operation_error(copy), m.ERROR_INVALID_ARGUMENT)
        self.assertEqual(m.Operation_Status(copy), m.Operation_Status(failed))
        self.assertIs(m.Operation_ClearError(copy), None)
        self.assertEqual((m.Operation_ok(copy), m.Operation_Status(copy)), (1, 'OK'))

    def test_second_thread_finishes_the_watcher_a_waiter_blocks_on(self):
        # The waiter holds no interpreter lock while it waits, so the other
        # Python thread runs and completes it.
        w = m.new_AsyncIOWatcher()
        results = []

        def waiter():
            m.AsyncIOWatcher_Wait(w)
            results.append((m.AsyncIOWatcher_Error(w), m.AsyncIOWatcher_Bytes(w)))
        t, finisher = threading.Thread(target=waiter), threading.Thread(target=m.AsyncIO_Finish, args=(w, 0, 77))
        t.start()
        time.sleep(0.05)
        self.assertEqual(results, [])
        finisher.start()
        finisher.join(5)
        t.join(5)
        self.assertFalse(t.is_alive())
        self.assertEqual((results, m.AsyncIOWatcher_WaitWithTimeout(w, 0)), ([(0, 77)], 1))
        m.delete_AsyncIOWatcher(w)

    def test_abandon_wakes_waiters_and_a_wait_times_out_in_milliseconds(self):
        # What abandoning and detaching do is the library's (async_test.cc).
        w = m.new_AsyncIOWatcher()
        start = time.time()
        self.assertIntResult(m.AsyncIOWatcher_WaitWithTimeout(w, 50), 0)
        self.assertGreaterEqual(time.time() - start, 0.04)
        self.assertIs(m.AsyncIOWatcher_Abandon(w), None)
        self.assertIntResult(m.AsyncIOWatcher_WaitWithTimeout(w, 1000), 0)
        m.delete_AsyncIOWatcher(w)


@pqtest.on_each_file_system
class WithOpErrorCases(pqtest.FileCases):
    """Each ...WithOp failure leaves its own error code in the Operation."""

    def assertFails(self, op, code, result):
        self.assertIntResult(result, 0)
        self.assertIntResult(m.Operation_ok(op), 0)
        self.assertIntResult(m.Operation_error(op), code)
        self.assertTrue(m.Operation_Status(op).startswith(m.ErrorToString(code) + ': '),
                        m.Operation_Status(op))

    def test_failures_reach_the_operation_and_success_clears_them(self):
        # Which failure gives which code, and bulk failures, are the library's (operation_test.cc,
        # fs_conformance_test.cc).
        op, stat, missing = m.new_Operation(), m.new_FileStat(), self.path('missing')
        self.assertFails(op, m.ERROR_NOT_FOUND, m.File_StatWithOp(missing, stat, op))
        self.assertIn(missing, m.Operation_descriptor(op))
        self.assertFails(op, m.ERROR_INVALID_ARGUMENT, m.File_StatWithOp(missing, None, op))
        self.assertIntResult(m.File_StatWithOp(self.put('f', 'x'), stat, op), 1)
        self.assertEqual((m.Operation_ok(op), m.Operation_Status(op)), (1, 'OK'))
        r = self.handle('f', 'r')
        m.Operation_SetDeadlineLength(op, -0.5)
        self.assertEqual((m.File_PReadStringWithOp(r, 0, 4, op), m.Operation_error(op)),
                         (None, m.ERROR_DEADLINE_EXCEEDED))
        m.Operation_SetDeadlineLength(op, 60.0)
        self.assertEqual((m.File_PReadStringWithOp(r, 0, 4, op), m.File_BulkDeleteWithOp([self.path('f'), missing], op),
                          m.Operation_error(op)), ('x', (0, [1, 0]), m.ERROR_NOT_FOUND))


if __name__ == '__main__':
    pqtest.main()
