"""Asynchronous completion objects, waited on from Python threads."""
import threading
import time

import pqtest
from pqtest import m


class WatcherTest(pqtest.TestCase):
    def test_finish_then_query(self):
        w = m.new_AsyncIOWatcher()
        self.assertRaises(OverflowError, m.AsyncIOWatcher_Finish, w, 0, 2 ** 64)
        self.assertIntResult(m.AsyncIOWatcher_IsFinished(w), 0)  # a refused count leaves it unfinished
        m.AsyncIOWatcher_Finish(w, m.ERROR_NOT_FOUND, 123)
        self.assertEqual([(type(v), v) for v in (m.AsyncIOWatcher_IsFinished(w), m.AsyncIOWatcher_Error(w),
                                                 m.AsyncIOWatcher_Bytes(w), m.AsyncIOWatcher_Wait(w),
                                                 m.AsyncIOWatcher_WaitWithTimeout(w, 0))],
                         [(int, 1), (int, 3), (long, 123), (type(None), None), (int, 1)])
        m.delete_AsyncIOWatcher(w)

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
        self.assertEqual(results, [(0, 77)])
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

    def test_detached_watcher_frees_itself_and_null_objects_delete_as_nothing(self):
        w = m.new_AsyncIOWatcher()
        m.AsyncIOWatcher_Detach(w)
        m.AsyncIOWatcher_Finish(w, 0, 5)  # the last use of w
        self.assertEqual([f(null) for f in (m.delete_AsyncIO, m.delete_AsyncIOWatcher, m.delete_AsyncIOForSS)
                          for null in (None, 'NULL')], [None] * 6)


if __name__ == '__main__':
    pqtest.main()
