"""Runs File test cases once in a local scratch directory and once under /mem/.

A group of cases derives from FileCases and is decorated with
@on_each_file_system; the decorator adds one TestCase class per file system
to the group's module (the group itself is not a TestCase, so it is not
collected on its own).
"""
import itertools
import os
import shutil
import sys

import pqtest
from pqtest import m

_serial = itertools.count()


class LocalRoot(object):
    label = 'Local'

    def make_root(self):
        return pqtest.scratch_dir('pqfile') + '/'

    def remove_root(self, root):
        shutil.rmtree(root, ignore_errors=True)


class MemRoot(object):
    label = 'Mem'

    def make_root(self):
        root = '/mem/pqtest-%d-%d/' % (os.getpid(), next(_serial))
        if m.File_RecursivelyCreateDir(root, 0o755) != 1:
            raise AssertionError('cannot create ' + root)
        return root

    def remove_root(self, root):
        m.File_DeleteRecursively(root)


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


def scratch_dir(case):
    """A fresh local directory removed when the test case ends."""
    path = pqtest.scratch_dir('pqfile')
    case.addCleanup(shutil.rmtree, path, True)
    return path


def on_each_file_system(cases):
    module = sys.modules[cases.__module__]
    for root in (LocalRoot, MemRoot):
        name = cases.__name__ + root.label
        setattr(module, name, type(name, (root, cases, pqtest.TestCase), {'__module__': cases.__module__}))
    return cases
