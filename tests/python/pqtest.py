"""Shared helpers for the binding's Python test suites.

File test cases run once in a local scratch directory and once under /mem/: a group of cases
derives from FileCases and is decorated with @on_each_file_system, which adds one TestCase class
per file system to the group's module (the group itself is not a TestCase, so it is not collected)."""
import binascii
import ctypes
import itertools
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import unittest

import _file_base_pyquarry as m

BUILD_DIR = os.path.dirname(os.path.dirname(os.path.abspath(m.__file__)))  # the CMake build the extension is from


class Proxy(object):
    """A minimal stand-in for the proxy layer: holds the pointer text."""

    def __init__(self, this):
        self.this = this
        self.thisown = 0


def register_proxy(class_name):
    """Registers a fresh proxy class for a wrapped class and returns it."""
    cls = type(class_name, (Proxy,), {})
    getattr(m, class_name + '_swigregister')(cls)
    return cls


def pointer_to(c_object, mangled):
    """The pointer text of a ctypes object, typed as mangled: the library writes through it."""
    return '_' + binascii.hexlify(struct.pack('P', ctypes.addressof(c_object))) + mangled


def buffer_holding(number):
    """A wrapped FileStat used as an 8-byte untyped buffer (its first member)."""
    s = m.new_FileStat()
    m.FileStat_length_set(s, number)
    return s


def fresh_text(n):
    """A str object nobody else shares, usable as a buffer the library writes into."""
    return ''.join(['.'] * n)


def is_pointer_text(text, mangled):
    return (isinstance(text, str) and text.startswith('_') and len(text) == 17 + len(mangled)
            and text.endswith(mangled) and all(c in '0123456789abcdef' for c in text[1:17]))


def scratch_dir(prefix='pq'):
    base = os.environ.get('PQ_TEST_TMP') or tempfile.gettempdir()
    if not os.path.isdir(base):
        os.makedirs(base)
    return tempfile.mkdtemp(prefix=prefix, dir=base)


def run_python(code, **changes):
    """Runs code in a fresh interpreter, with the environment changed by changes
    (None removes a variable); returns (exit status, stdout, stderr)."""
    env = dict(os.environ, **changes)
    for name in [n for n, v in changes.items() if v is None]:
        del env[name]
    p = subprocess.Popen([sys.executable, '-c', code], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, env=env)
    out, err = p.communicate()
    return p.returncode, out, err


class TestCase(unittest.TestCase):
    def assertTypeError(self, text, f, *args):
        try:
            f(*args)
        except TypeError as e:
            self.assertEqual(str(e), text)
        else:
            self.fail('%s%r did not raise TypeError' % (getattr(f, '__name__', f), args))

    def assertNoMatch(self, f, *args):
        """None of f's overloaded forms takes args."""
        self.assertTypeError("No matching function for overloaded '%s'" % f.__name__, f, *args)

    def assertIntResult(self, value, expected):
        self.assertIs(type(value), int)
        self.assertEqual(value, expected)

    def assertLongResult(self, value, expected):
        self.assertIs(type(value), long)
        self.assertEqual(value, expected)



_serial = itertools.count()


def attr(bits):
    return m.new_Attr_t(bits)


def _mem_root():
    root = '/mem/pqtest-%d-%d/' % (os.getpid(), next(_serial))
    if m.File_RecursivelyCreateDir(root, 0o755) != 1:
        raise AssertionError('cannot create ' + root)
    return root


# (label, makes a fresh root directory name ending in '/', removes it)
_ROOTS = (('Local', lambda: scratch_dir('pqfile') + '/', lambda root: shutil.rmtree(root, True)),
          ('Mem', _mem_root, m.File_DeleteRecursively))


class FileCases(object):
    """Helpers over self.root, a fresh directory name ending in '/'."""

    def setUp(self):
        self.root = self.make_root()
        self.addCleanup(self.remove_root, self.root)

    def path(self, name):
        return self.root + name

    def put(self, name, data):
        self.assertEqual(m.File_WriteStringToFile(data, self.path(name)), 1)
        return self.path(name)

    def contents(self, name):
        ok, data = m.File_ReadFileToString(self.path(name))
        self.assertEqual(ok, 1, name)
        return data

    def handle(self, name, mode):
        """An open handle, closed and freed when the test ends."""
        f = m.File_Open(self.path(name), mode)
        self.assertIsNotNone(f, name)
        self.addCleanup(m.delete_File, f)  # closes it first if still open
        return f

    def mode_of(self, name):
        return m.FileStat_mode_get(m.File_Stat(self.path(name))) & 0o777


def assert_results(case, values, expected, kind=int):
    """Every value has exactly the type kind (int results must not come back as long)."""
    case.assertEqual([(type(v), v) for v in values], [(kind, e) for e in expected])


def assert_dies(case, call, text, line=None):
    """call, run in a fresh interpreter, aborts with a fatal record starting with text.

    Records logged from the header's fixed line carry exactly text."""
    status, out, err = run_python('import _file_base_pyquarry as m\n%s\nprint "survived"' % call)
    case.assertEqual(status, -signal.SIGABRT, err)
    case.assertNotIn('survived', out)
    where, end = (r' file/base/file\.h:%d' % line, '$') if line else ('', '')
    case.assertTrue(re.search(r'^F.*%s\] %s%s' % (where, re.escape(text), end), err, re.M), err)


def awaited(case, call):
    """call(watcher)'s result and the error code its completion reported."""
    w = m.new_AsyncIOWatcher()
    case.addCleanup(m.delete_AsyncIOWatcher, w)
    result = call(w)
    m.AsyncIOWatcher_Wait(w)
    return result, m.AsyncIOWatcher_Error(w)


def scratch_dir_of(case):
    """A fresh local directory removed when the test case ends."""
    path = scratch_dir('pqfile')
    case.addCleanup(shutil.rmtree, path, True)
    return path


def on_each_file_system(cases):
    module = sys.modules[cases.__module__]
    for label, make_root, remove_root in _ROOTS:
        name = cases.__name__ + label
        setattr(module, name, type(name, (cases, TestCase), {
            '__module__': cases.__module__, 'make_root': staticmethod(make_root),
            'remove_root': staticmethod(remove_root)}))
    return cases


def main():
    unittest.main(verbosity=1)
