"""The proxy module file_base_pyquarry: reach, ownership, registration."""
import os
import subprocess
import sys
import types

import pqtest
from pqtest import m
from test_module import NAMES_FILE, module_functions as extension_functions

import _pyquarry_proxy_support as support
import file_base_pyquarry as fb

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


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

    def test_every_function_is_reachable_and_nothing_else(self):
        # With the table complete (test_module.py), nothing is missing and all 907 are reachable.
        reachable, built = reachable_names(), extension_functions()
        self.assertEqual((sorted(built - reachable), sorted(reachable - built), fb.missing(), len(proxy_classes())),
                         ([], [], [], 35))

    def test_constants_free_functions_cvar_and_bases(self):
        self.assertIs(fb.cvar, m.cvar)
        self.assertEqual((fb.ERROR_NOT_FOUND, fb.Attr_t_APPEND, fb.Attr_t.APPEND, fb.File.MATCH_ALL),
                         (m.ERROR_NOT_FOUND, m.Attr_t_APPEND, m.Attr_t_APPEND, m.File_MATCH_ALL))
        self.assertEqual(fb.ChecksumState.kBlockSize, 1048576)
        self.assertTrue(issubclass(fb.LogWriter, fb.LogBase) and issubclass(fb.AsyncIOWatcher, fb.AsyncIO))

    def test_pointer_results_are_instances(self):
        st, f = fb.File.Stat('/'), fb.File.Create('/x', 'r')
        self.assertEqual((type(st), st.thisown, type(f), f.thisown), (fb.FileStat, 1, fb.File, 0))  # Stat's is owned
        self.assertTrue(pqtest.is_pointer_text(st.this, '_p_FileStat'))
        m.delete_File(f)


class CallTest(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('proxy')
        self.name = os.path.join(self.dir, 'a')
        fb.File.WriteStringToFile('hello\n', self.name)

    def test_static_and_either_forms_through_class_and_instance(self):
        self.assertEqual((fb.File.Exists(self.name), fb.File.Exists(self.name + 'x')), (1, 0))
        f = fb.File.Open(self.name, 'r')
        self.assertEqual((f.Exists(self.name), f.Size(), fb.File.Size(f), f.Close()), (1, 6L, 6L, 1))
        m.delete_File(f)
        op = fb.Operation()
        self.assertEqual((fb.File.DeleteWithOp(self.name, op), op.error()), (1, fb.OK))  # by name
        fb.File.WriteStringToFile('x', self.name)
        f = fb.File.Open(self.name, 'r')
        self.assertEqual((f.DeleteWithOp(op), fb.File.Exists(self.name)), (1, 0))  # on the handle
        m.delete_File(f)

    def test_properties_comparisons_and_type_errors(self):
        st = fb.FileStat()
        st.length = 2 ** 40
        self.assertEqual((st.length, m.FileStat_length_get(st)), (2 ** 40, 2 ** 40))
        a, b = fb.FileVersion(), fb.FileVersion()
        a.time = b.time = 5
        a.creator, b.creator = 2, 1
        self.assertEqual((a == a, a != b, a > b, b < a, a == 'x'), (True, True, True, True, False))
        self.assertTypeError('Type error. Got _p_FileVersion, expected _p_FileStat',
                             fb.FileStat.length.fget, fb.FileVersion())
        self.assertRaises(TypeError, fb.File)  # no constructor where the table has none


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

    def test_deleted_once_when_owned_only(self):
        st = fb.FileStat()
        this = st.this
        self.assertEqual((st.thisown, type(st)), (1, fb.FileStat))
        st.__del__()
        del st
        self.assertEqual(self.calls, [this])
        st = fb.FileStat()
        st.thisown = 0
        st.thisown = True  # owned again by assigning it back
        del st
        self.assertEqual(len(self.calls), 2)
        st = fb.FileStat()
        view = fb.FileStat.__new__(fb.FileStat)
        view.this = st.this  # a second proxy of the same object, not owning it
        del view
        self.assertEqual(len(self.calls), 2)
        self.assertRaises(TypeError, fb.FileStat, 1, 2, 3)  # a failed constructor leaves nothing
        del st
        self.assertEqual(len(self.calls), 3)

    def test_destroy_and_arguments_that_take_ownership(self):
        st = fb.FileStat()
        st.thisown = 0
        st.destroy()
        st.destroy()  # frees even an unowned object, once
        self.assertEqual((len(self.calls), st.this), (1, None))
        self.assertRaises(TypeError, fb.FileFactory.__new__(fb.FileFactory).destroy)
        saved = m.cvar.file_attributes
        attrs = fb.FileAttributes()
        self.assertEqual(attrs.thisown, 1)
        fb.cvar.file_attributes = attrs  # the library keeps the stored value
        self.assertEqual(attrs.thisown, 0)
        fb.cvar.file_attributes = saved


if __name__ == '__main__':
    pqtest.main()
