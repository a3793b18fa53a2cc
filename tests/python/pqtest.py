"""Shared helpers for the binding's Python test suites."""
import binascii
import ctypes
import os
import struct
import subprocess
import sys
import tempfile
import unittest

import _file_base_pyquarry as m


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


def main():
    unittest.main(verbosity=1)
