"""Asynchronous completion objects, waited on from Python threads."""
import threading
import time

import pqtest
from pqtest import m


class WatcherTest(pqtest.TestCase):
    def test_finish_then_query(self):
        w = m.new_AsyncIOWatcher()
        self.assertIntResult(m.AsyncIOWatcher_IsFinished(w), 0)
        m.AsyncIOWatcher_Finish(w, m.ERROR_NOT_FOUND, 123)
        self.assertIntResult(m.AsyncIOWatcher_IsFinished(w), 1)
        self.assertIntResult(m.AsyncIOWatcher_Error(w), 3)
        self.assertLongResult(m.AsyncIOWatcher_Bytes(w), 123)
        self.assertIs(m.AsyncIOWatcher_Wait(w), None)
        self.assertIntResult(m.AsyncIOWatcher_WaitWithTimeout(w, 0), 1)
        m.delete_AsyncIOWatcher(w)

    def test_overflowing_byte_count_leaves_it_unfinished(self):
        w = m.new_AsyncIOWatcher()
        self.assertRaises(OverflowError, m.AsyncIOWatcher_Finish, w, 0, 2 ** 64)
        self.assertRaises(TypeError, m.AsyncIO_Finish, w, 0, 'x')
        self.assertIntResult(m.AsyncIOWatcher_IsFinished(w), 0)
        m.delete_AsyncIOWatcher(w)

    def test_second_thread_finishes_the_watcher_a_waiter_blocks_on(self):
        # The waiter holds no interpreter lock while it waits, so the other
        # Python thread runs and completes it.
        w = m.new_AsyncIOWatcher()
        results = []

        def waiter():
            m.AsyncIOWatcher_Wait(w)
            results.append((m.AsyncIOWatcher_Error(w), m.AsyncIOWatcher_Bytes(w)))
        t = threading.Thread(target=waiter)
        t.start()
        time.sleep(0.05)
        self.assertEqual(results, [])
        finisher = threading.Thread(target=m.AsyncIO_Finish, args=(w, 0, 77))
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

    def test_detached_watcher_frees_itself_when_finished(self):
        w = m.new_AsyncIOWatcher()
        m.AsyncIOWatcher_Detach(w)
        m.AsyncIOWatcher_Finish(w, 0, 5)  # the last use of w

    def test_deleting_null_objects(self):
        for f in (m.delete_AsyncIO, m.delete_AsyncIOWatcher, m.delete_AsyncIOForSS):
            self.assertIs(f(None), None)
            self.assertIs(f('NULL'), None)


if __name__ == '__main__':
    pqtest.main()
