"""Opening and creating files: File_Open ... File_BulkOpenFullySpecified, delete_File.

A File proxy class is registered here, so handles come back as proxy
instances whose thisown tells who owns them.
"""
import re
import signal

import file_roots
import pqtest
from pqtest import m

FileProxy = pqtest.register_proxy('File')


def attr(bits):
    return m.new_Attr_t(bits)


DEFAULT_MODE = 0x7fffffff


@file_roots.on_each_file_system
class SingleOpenTest(file_roots.FileCases):
    def assertUnowned(self, f):
        self.assertIsInstance(f, FileProxy)
        self.assertIs(f.thisown, 0)

    def test_missing_file_for_reading_is_none(self):
        missing = self.path('missing')
        self.assertIs(m.File_Open(missing, 'r'), None)
        self.assertIs(m.File_OpenLocked(missing, 'r', None), None)
        self.assertIs(m.File_OpenWithAttr(missing, 'r', attr(0)), None)
        self.assertIs(m.File_OpenFullySpecified(missing, 'r', attr(0), DEFAULT_MODE, 'root'), None)
        self.assertIs(m.File_OpenWithOptions(missing, 'r', m.new_FileOpenOptions()), None)
        self.assertEqual(m.File_Exists(missing), 0)

    def test_every_single_open_hands_out_an_unowned_handle(self):
        self.put('a', 'abc')
        name = self.path('a')
        opens = [
            lambda: m.File_Open(name, 'r'),
            lambda: m.File_OpenLocked(name, 'r', None),
            lambda: m.File_OpenWithOptions(name, 'r', m.new_FileOpenOptions()),
            lambda: m.File_OpenWithAttr(name, 'r', attr(0)),
            lambda: m.File_OpenFullySpecified(name, 'r', attr(0), DEFAULT_MODE, 'root'),
            lambda: m.File_OpenFullySpecifiedLocked(name, 'r', attr(0), DEFAULT_MODE, 'root', None),
            lambda: m.File_OpenOrDie(name, 'r'),
            lambda: m.File_OpenWithAttrOrDie(name, 'r', attr(0)),
            lambda: m.File_OpenFullySpecifiedOrDie(name, 'r', attr(0), DEFAULT_MODE, 'root'),
            lambda: m.File_OpenForAppend(name),
            lambda: m.File_OpenForAppendOrDie(name),
            lambda: m.File_OpenToCheckpointOrDie(name, 'r', None),
            lambda: m.File_OpenOrDieForWriting(name, 'a', None, 0, None),
        ]
        for i, open_ in enumerate(opens):
            f = open_()
            self.assertUnowned(f)
            self.assertEqual(m.File_CreateFileName(f), name, i)
            self.assertIntResult(m.File_Close(f), 1)
        self.assertEqual(self.contents('a'), 'abc')

    def test_write_modes_reach_the_file(self):
        f = m.File_Open(self.path('w'), 'w')
        self.assertLongResult(m.File_WriteString(f, 'one\0'), 4)
        m.File_Close(f)
        f = m.File_OpenForAppend(self.path('w'))
        m.File_WriteString(f, 'two')
        m.File_Close(f)
        self.assertEqual(self.contents('w'), 'one\0two')

    def test_permissions_pass_through_as_unsigned(self):
        f = m.File_OpenFullySpecified(self.path('p'), 'w', attr(0), 0o600, 'root')
        self.assertUnowned(f)
        m.File_Close(f)
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(self.path('p'))) & 0o777, 0o600)

    def test_frozen_attribute_forbids_later_writes(self):
        f = m.File_OpenWithAttr(self.path('z'), 'w', attr(m.Attr_t_FROZEN))
        m.File_WriteString(f, 'kept')
        m.File_Close(f)
        self.assertIs(m.File_Open(self.path('z'), 'w'), None)
        self.assertIs(m.File_OpenFullySpecified(self.path('z'), 'a', attr(0), DEFAULT_MODE, 'root'), None)
        self.assertEqual(self.contents('z'), 'kept')

    def test_argument_errors_come_before_the_library(self):
        name = self.path('never')
        self.assertTypeError('null reference', m.File_OpenWithAttr, name, 'w', None)
        self.assertTypeError('null reference', m.File_OpenWithOptions, name, 'w', None)
        self.assertTypeError('null reference', m.File_CreateWithOptions, name, 'w', None)
        self.assertTypeError('Type error. Got _p_FileStat, expected _p_Attr_t',
                             m.File_OpenFullySpecified, name, 'w', m.new_FileStat(), 0, 'root')
        self.assertRaises(TypeError, m.File_OpenFullySpecified, name, 'w', attr(0), 'x', 'root')
        self.assertRaises(TypeError, m.File_OpenFullySpecified, name, 'w', attr(0), 0, None)
        self.assertRaises(TypeError, m.File_OpenOrDieForWriting, name, 'w', None, 'yes', None)
        self.assertRaises(TypeError, m.File_Open, name + '\0x', 'w')
        self.assertRaises(TypeError, m.File_Open, name)
        self.assertRaises(TypeError, m.File_Create, name, 5)
        self.assertEqual(m.File_Exists(name), 0)


@file_roots.on_each_file_system
class CreateThenOpenTest(file_roots.FileCases):
    def test_create_is_unopened_until_open_this(self):
        self.put('a', 'data')
        f = m.File_Create(self.path('a'), 'r')
        self.assertIs(f.thisown, 0)
        self.assertIntResult(m.File_OpenThis(f), 1)
        self.assertEqual(m.File_ReadToString(f, -1), (4L, 'data'))
        m.File_Close(f)

    def test_failed_open_this_keeps_the_real_error(self):
        f = m.File_Create(self.path('missing'), 'r')
        self.assertIsNotNone(f)
        self.assertIntResult(m.File_OpenThis(f), 0)
        self.assertIntResult(m.File_GetCurrentErrorCode(f), m.ERROR_NOT_FOUND)
        self.assertIn('missing', m.File_GetCurrentErrorMessage(f))
        self.assertIs(m.delete_File(f), None)

    def test_create_forms_pass_attributes_and_options(self):
        options = m.new_FileOpenOptions()
        m.FileOpenOptions_set_permissions(options, 0o640)
        f = m.File_CreateWithOptions(self.path('o'), 'w', options)
        self.assertIntResult(m.File_OpenWithOp(f, None), 1)
        m.File_Close(f)
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(self.path('o'))) & 0o777, 0o640)

        f = m.File_CreateFullySpecified(self.path('f'), 'w', attr(0), 0o604, 'root')
        self.assertIntResult(m.File_OpenThis(f), 1)
        m.File_Close(f)
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(self.path('f'))) & 0o777, 0o604)

        f = m.File_CreateWithAttr(self.path('z'), 'w', attr(m.Attr_t_FROZEN))
        self.assertIntResult(m.File_OpenThis(f), 1)
        m.File_Close(f)
        f = m.File_CreateWithAttr(self.path('z'), 'w', attr(0))
        self.assertIntResult(m.File_OpenThis(f), 0)
        self.assertNotEqual(m.File_GetCurrentErrorCode(f), m.OK)
        m.delete_File(f)

    def test_create_takes_byte_strings(self):
        self.assertRaises(TypeError, m.File_Create, self.path('b'), None)
        f = m.File_Create(self.path('b'), 'w')
        self.assertIntResult(m.File_OpenThis(f), 1)
        m.File_Close(f)
        self.assertEqual(m.File_Exists(self.path('b')), 1)


@file_roots.on_each_file_system
class AsyncOpenTest(file_roots.FileCases):
    def open_async(self, form, name):
        w = m.new_AsyncIOWatcher()
        self.addCleanup(m.delete_AsyncIOWatcher, w)
        forms = {
            'plain': lambda: m.File_OpenAsync(name, 'r', w),
            'locked': lambda: m.File_OpenAsyncLocked(name, 'r', None, w),
            'full': lambda: m.File_OpenFullySpecifiedAsync(name, 'r', attr(0), DEFAULT_MODE, 'root', w),
            'full_locked': lambda: m.File_OpenFullySpecifiedAsyncLocked(
                name, 'r', attr(0), DEFAULT_MODE, 'root', None, w),
        }
        f = forms[form]()
        self.assertIs(f.thisown, 0)
        self.assertIs(m.AsyncIOWatcher_Wait(w), None)
        return f, m.AsyncIOWatcher_Error(w)

    def test_outcome_arrives_through_the_completion(self):
        self.put('a', 'xyz')
        for form in ('plain', 'locked', 'full', 'full_locked'):
            f, error = self.open_async(form, self.path('a'))
            self.assertEqual(error, m.OK, form)
            self.assertEqual(m.File_ReadToString(f, -1), (3L, 'xyz'))
            m.File_Close(f)
            f, error = self.open_async(form, self.path('missing'))
            self.assertEqual(error, m.ERROR_NOT_FOUND, form)
            m.delete_File(f)

    def test_open_async_this_on_a_created_handle(self):
        self.put('a', 'q')
        w = m.new_AsyncIOWatcher()
        f = m.File_Create(self.path('a'), 'r')
        self.assertIntResult(m.File_OpenAsyncThis(f, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual(m.AsyncIOWatcher_Error(w), m.OK)
        self.assertEqual(m.File_ReadToString(f, -1), (1L, 'q'))
        m.File_Close(f)
        m.delete_AsyncIOWatcher(w)


@file_roots.on_each_file_system
class BulkOpenTest(file_roots.FileCases):
    def test_handles_come_back_owned_in_order(self):
        names = [self.put('a', 'A'), self.put('b', 'B')]
        for result in (m.File_BulkOpen(names, 'r'),
                       m.File_BulkOpen(tuple(names), 'r'),
                       m.File_BulkOpenWithAttr(names, 'r', attr(0)),
                       m.File_BulkOpenFullySpecified(names, 'r', attr(0), DEFAULT_MODE, 'root')):
            ok, files = result
            self.assertIntResult(ok, 1)
            self.assertIs(type(files), list)
            self.assertEqual([f.thisown for f in files], [1, 1])
            self.assertEqual([m.File_ReadToString(f, -1)[1] for f in files], ['A', 'B'])
            for f in files:
                m.delete_File(f)

    def test_delete_file_closes_what_was_written(self):
        ok, files = m.File_BulkOpen([self.path('x'), self.path('y')], 'w')
        self.assertEqual(ok, 1)
        for f, data in zip(files, ('x\0', 'y')):
            m.File_WriteString(f, data)
            self.assertIs(m.delete_File(f), None)
        self.assertEqual((self.contents('x'), self.contents('y')), ('x\0', 'y'))
        self.assertIs(m.delete_File(None), None)

    def test_partial_failure_reports_false(self):
        ok, files = m.File_BulkOpen([self.put('a', ''), self.path('missing')], 'r')
        self.assertIntResult(ok, 0)
        self.assertEqual(len(files), 2)
        self.assertEqual(files[0].thisown, 1)
        m.delete_File(files[0])

    def test_empty_list(self):
        ok, files = m.File_BulkOpen([], 'r')
        self.assertIs(type(ok), int)
        self.assertEqual(files, [])

    def test_name_lists_are_checked_first(self):
        good = self.path('never')
        for bad in ([good, 5], [u'x'], 'abc', None, m.new_stringVector(), set([good])):
            self.assertTypeError('vector<::string> expected', m.File_BulkOpen, bad, 'w')
            self.assertTypeError('vector<::string> expected', m.File_BulkOpenWithAttr, bad, 'w', attr(0))
        self.assertRaises(TypeError, m.File_BulkOpenFullySpecified, [good], 'w', attr(0), 0, None)
        self.assertEqual(m.File_Exists(good), 0)


class OrDieTest(pqtest.TestCase):
    """Failures end the process with a fatal record naming the library header."""

    def assertDies(self, call, line, text):
        status, out, err = pqtest.run_python(
            'import _file_base_pyquarry as m\n%s\nprint "survived"' % call)
        self.assertEqual(status, -signal.SIGABRT, err)
        self.assertNotIn('survived', out)
        pattern = r'^F.* file/base/file\.h:%d\] %s$' % (line, re.escape(text))
        self.assertTrue(re.search(pattern, err, re.M), err)

    def setUp(self):
        self.dir = file_roots.scratch_dir(self)

    def test_bad_name(self):
        self.assertDies("m.File_OpenOrDie('', 'r')", 654, 'Bad name for open:')
        self.assertDies("m.File_OpenWithAttrOrDie('', 'w', m.new_Attr_t())", 654, 'Bad name for open:')

    def test_could_not_open(self):
        missing = self.dir + '/missing'
        self.assertDies("m.File_OpenOrDie(%r, 'r')" % missing, 658,
                        'Could not open:%s with mode:r' % missing)
        self.assertDies("m.File_OpenFullySpecifiedOrDie(%r, 'r', m.new_Attr_t(), 0, 'root')" % missing,
                        658, 'Could not open:%s with mode:r' % missing)

    def test_append_check(self):
        unwritable = self.dir + '/no/such/dir'
        self.assertDies("m.File_OpenForAppendOrDie(%r)" % unwritable, 683,
                        'Check failed: f != NULL : could not open %s for append' % unwritable)
        self.assertDies("m.File_OpenForAppendOrDie('')", 683,
                        'Check failed: f != NULL : could not open  for append')

    def test_mem_names_die_the_same_way(self):
        missing = '/mem/pqtest-ordie/missing'
        self.assertDies("m.File_OpenOrDie(%r, 'r')" % missing, 658,
                        'Could not open:%s with mode:r' % missing)


if __name__ == '__main__':
    pqtest.main()
