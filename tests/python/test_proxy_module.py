"""The proxy module file_base_pyquarry: reach, ownership, registration."""
import os
import subprocess
import sys
import types
import unittest

import pqtest
from pqtest import m

import _pyquarry_proxy_support as support
import file_base_pyquarry as fb

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
NAMES_FILE = os.path.join(ROOT, 'tests', 'data', 'method_names.txt')


def canonical_names():
    with open(NAMES_FILE) as f:
        return [line.strip() for line in f if line.strip() and not line.startswith('#')]


def extension_functions():
    return set(n for n, v in vars(m).items() if isinstance(v, types.BuiltinFunctionType))


def proxy_classes():
    return [v for v in vars(fb).values() if isinstance(v, type) and issubclass(v, fb._Proxy)
            and v is not fb._Proxy]


def flat_names_of(value):
    """The extension functions a class attribute calls."""
    if isinstance(value, property):
        return [f.__name__ for f in (value.fget, value.fset) if f is not None]
    if isinstance(value, staticmethod):
        value = value.__get__(None, object)
    if isinstance(value, types.MethodType):
        value = value.im_func
    if isinstance(value, support.Either):
        value = value.fn
    if isinstance(value, types.BuiltinFunctionType):
        return [value.__name__]
    return [getattr(value, 'flat_name', None)]


def reachable_names():
    """Every extension function the proxy module hands out."""
    names = set()
    for cls in proxy_classes():
        for value in vars(cls).values():
            names.update(n for n in flat_names_of(value) if n)
        if (cls.__name__ + '_swigregister') in extension_functions():
            names.add(cls.__name__ + '_swigregister')  # checked by RegistrationTest
    for value in vars(fb).values():
        if isinstance(value, types.BuiltinFunctionType):
            names.add(value.__name__)
    return names


class ReachTest(pqtest.TestCase):
    def test_generated_module_is_in_step_with_the_table(self):
        generator = os.path.join(ROOT, 'tools', 'proxygen', 'proxygen.py')
        checked_in = os.path.join(ROOT, 'python', 'file_base_pyquarry.py')
        status = subprocess.call([sys.executable, generator, '--check', NAMES_FILE, checked_in])
        self.assertEqual(status, 0)

    def test_every_exported_function_is_reachable(self):
        self.assertEqual(sorted(extension_functions() - reachable_names()), [])

    def test_nothing_reaches_a_function_the_extension_lacks(self):
        self.assertEqual(sorted(reachable_names() - extension_functions()), [])
        self.assertEqual(sorted(fb.missing()), sorted(set(canonical_names()) - extension_functions()))

    def test_all_907_once_the_table_is_complete(self):
        if fb.missing():
            raise unittest.SkipTest('%d functions not built yet' % len(fb.missing()))
        self.assertEqual(reachable_names(), set(canonical_names()))

    def test_35_classes(self):
        self.assertEqual(len(proxy_classes()), 35)

    def test_kinds_of_members(self):
        self.assertIsInstance(vars(fb.File)['Exists'], staticmethod)
        self.assertIsInstance(vars(fb.FileStat)['length'], property)
        self.assertIsInstance(vars(fb.File)['DeleteWithOp'], support.Either)
        self.assertIsInstance(vars(fb.File)['Close'], types.MethodType)
        self.assertTrue(issubclass(fb.LogWriter, fb.LogBase))
        self.assertTrue(issubclass(fb.AsyncIOWatcher, fb.AsyncIO))

    def test_constants_free_functions_and_cvar(self):
        self.assertIs(fb.cvar, m.cvar)
        self.assertEqual((fb.ERROR_NOT_FOUND, fb.Attr_t_APPEND, fb.Attr_t.APPEND),
                         (m.ERROR_NOT_FOUND, m.Attr_t_APPEND, m.Attr_t_APPEND))
        self.assertEqual(fb.File.MATCH_ALL, m.File_MATCH_ALL)
        self.assertEqual(fb.ChecksumState.kBlockSize, 1048576)
        self.assertIs(fb.ErrorToString, m.ErrorToString)


class CallTest(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('proxy')
        self.name = os.path.join(self.dir, 'a')
        fb.File.WriteStringToFile('hello\n', self.name)

    def test_static_through_class_and_instance(self):
        self.assertEqual((fb.File.Exists(self.name), fb.File.Exists(self.name + 'x')), (1, 0))
        f = fb.File.Open(self.name, 'r')
        self.assertEqual(f.Exists(self.name), 1)
        self.assertEqual(f.Size(), 6L)
        self.assertEqual(fb.File.Size(f), 6L)
        self.assertEqual(f.Close(), 1)
        m.delete_File(f)

    def test_either_form_by_name_and_on_the_handle(self):
        op = fb.Operation()
        self.assertEqual(fb.File.DeleteWithOp(self.name, op), 1)
        self.assertEqual(op.error(), fb.OK)
        fb.File.WriteStringToFile('x', self.name)
        f = fb.File.Open(self.name, 'r')
        self.assertEqual(f.DeleteWithOp(op), 1)
        self.assertEqual(fb.File.Exists(self.name), 0)
        m.delete_File(f)

    def test_properties_read_and_write(self):
        st = fb.FileStat()
        st.length = 2 ** 40
        st.owner = 'a\0b'
        self.assertEqual((st.length, st.owner), (2 ** 40, 'a\0b'))
        self.assertEqual(m.FileStat_length_get(st), 2 ** 40)

    def test_comparisons(self):
        a, b = fb.FileVersion(), fb.FileVersion()
        a.time = b.time = 5
        a.creator, b.creator = 2, 1
        self.assertEqual((a == a, a != b, a > b, b < a, a == 'x'), (True, True, True, True, False))

    def test_wrong_class_is_the_modules_type_error(self):
        self.assertTypeError('Type error. Got _p_FileVersion, expected _p_FileStat',
                             fb.FileStat.length.fget, fb.FileVersion())

    def test_no_constructor_where_the_table_has_none(self):
        self.assertRaises(TypeError, fb.File)
        self.assertRaises(TypeError, fb.FileFactory)


class OwnershipTest(pqtest.TestCase):
    """__del__ calls delete_<Class> exactly when the instance owns its object."""

    def setUp(self):
        self.calls = []
        self.real = m.delete_FileStat

        def counting(obj):
            self.calls.append(obj.this)
            return self.real(obj)
        m.delete_FileStat = counting

    def tearDown(self):
        m.delete_FileStat = self.real

    def test_owned_object_is_deleted_once(self):
        st = fb.FileStat()
        this = st.this
        self.assertEqual((st.thisown, type(st)), (1, fb.FileStat))
        st.__del__()
        del st
        self.assertEqual(self.calls, [this])

    def test_disowned_object_is_not_deleted(self):
        st = fb.FileStat()
        st.thisown = 0
        del st
        self.assertEqual(self.calls, [])
        st = fb.FileStat()
        st.thisown = 0
        st.thisown = True  # assigning it back makes it owned again
        del st
        self.assertEqual(len(self.calls), 1)

    def test_unowned_results_are_never_deleted(self):
        st = fb.FileStat()
        view = fb.FileStat.__new__(fb.FileStat)
        view.this = st.this  # a second proxy of the same object, not owning it
        del view
        self.assertEqual(self.calls, [])
        del st
        self.assertEqual(len(self.calls), 1)

    def test_argument_that_takes_ownership_disowns(self):
        saved = m.cvar.file_attributes
        attrs = fb.FileAttributes()
        self.assertEqual(attrs.thisown, 1)
        fb.cvar.file_attributes = attrs  # the library keeps the stored value
        self.assertEqual(attrs.thisown, 0)
        fb.cvar.file_attributes = saved

    def test_destroy_frees_even_an_unowned_object_once(self):
        st = fb.FileStat()
        st.thisown = 0
        st.destroy()
        st.destroy()
        self.assertEqual(len(self.calls), 1)
        self.assertIsNone(st.this)
        self.assertRaises(TypeError, fb.FileFactory.__new__(fb.FileFactory).destroy)

    def test_failed_constructor_leaves_nothing_to_delete(self):
        self.assertRaises(TypeError, fb.FileStat, 1, 2, 3)
        self.assertEqual(self.calls, [])


class RegistrationTest(pqtest.TestCase):
    def test_pointer_results_are_instances(self):
        st = fb.File.Stat('/')
        self.assertIs(type(st), fb.FileStat)
        self.assertEqual(st.thisown, 1)  # Stat hands back an owned record
        self.assertTrue(pqtest.is_pointer_text(st.this, '_p_FileStat'))
        watcher = fb.AsyncIOWatcher()
        self.assertIs(type(watcher), fb.AsyncIOWatcher)

    def test_unowned_single_open(self):
        f = fb.File.Create('/x', 'r')
        self.assertIs(type(f), fb.File)
        self.assertEqual(f.thisown, 0)
        m.delete_File(f)

    def test_import_with_a_partial_extension(self):
        # Take whole families and single functions away before the proxy
        # module is imported: the import works and leaves out what is gone.
        code = '\n'.join([
            'import _file_base_pyquarry as m',
            'gone = [n for n in dir(m) if n.startswith(("RecordWriter_", "LogWriter_"))]',
            'gone += ["new_FileStat", "delete_FileStat", "FileStat_length_get", "ErrorToString",',
            '         "File_Close", "FileVersion___eq__", "InputBuffer_swigregister"]',
            'for n in gone:',
            '    if hasattr(m, n): delattr(m, n)',
            'import file_base_pyquarry as fb',
            'assert not hasattr(fb.RecordWriter, "WriteRecord")',
            'assert not hasattr(fb.File, "Close") and hasattr(fb.File, "Open")',
            'assert not hasattr(fb, "ErrorToString")',
            'assert isinstance(fb.FileStat.__dict__["length"], property)',
            'assert fb.FileStat.__dict__["length"].fget is None',
            'assert "new_FileStat" in fb.missing() and "InputBuffer_swigregister" in fb.missing()',
            'try:',
            '    fb.FileStat()',
            'except NotImplementedError as e:',
            '    print(e)',
            'v = fb.FileVersion()',
            'assert "__eq__" not in vars(fb.FileVersion) and "__ne__" in vars(fb.FileVersion)',
        ])
        status, out, err = pqtest.run_python(code)
        self.assertEqual(status, 0, err)
        self.assertIn('this build of _file_base_pyquarry has no new_FileStat', out)


if __name__ == '__main__':
    pqtest.main()
