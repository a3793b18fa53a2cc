"""Cost per call of the binding, as ratios to a minimal extension function.

  (a) floor: parses one object with "O:floor" and returns an int
  (b) FileStat_length_get given a proxy instance
  (c) FileStat_length_get given the bare pointer text
  (d) new_FileStat followed by delete_FileStat
"""
import sys

import _file_base_pyquarry as m
import _pq_floor
import benchlib


class FileStat(object):
    def __init__(self, this):
        self.this = this
        self.thisown = 0


def main():
    n = int(sys.argv[1]) if len(sys.argv) > 1 else 200000
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 11
    text = m.new_FileStat()
    proxy = FileStat(text)
    floor = _pq_floor.floor
    get = m.FileStat_length_get
    new, delete = m.new_FileStat, m.delete_FileStat

    def a(k):
        for _ in xrange(k):
            floor(proxy)

    def b(k):
        for _ in xrange(k):
            get(proxy)

    def c(k):
        for _ in xrange(k):
            get(text)

    def d(k):
        for _ in xrange(k):
            delete(new())

    result, base = benchlib.ratios(a, {'b': b, 'c': c, 'd': d}, n, rounds)
    print 'call_overhead: floor %.1f ns/call (median of %d rounds of %d calls)' % (base * 1e9, rounds, n)
    print '  (b) FileStat_length_get(proxy) / floor   = %.2f  (target <= 2.0)' % result['b']
    print '  (c) FileStat_length_get(text)  / floor   = %.2f  (target <= 1.3)' % result['c']
    print '  (d) new_FileStat + delete_FileStat / floor = %.2f' % result['d']
    return 0 if result['b'] <= 2.0 and result['c'] <= 1.3 else 1


if __name__ == '__main__':
    sys.exit(main())
