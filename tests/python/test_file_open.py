"""Opening and creating files: File_Open ... File_BulkOpenFullySpecified, delete_File.

A File proxy class is registered here, so handles come back as proxy
instances whose thisown tells who owns them.
"""
import pqtest
from pqtest import assert_dies, assert_results, attr, awaited, m

FileProxy = pqtest.register_proxy('File')
DEFAULT_MODE = 0x7fffffff


@pqtest.on_each_file_system
class SingleOpenTest(pqtest.FileCases):
    def test_every_single_open_hands_out_an_unowned_handle_or_none(self):
        name, missing = self.put('a', 'abc'), self.path('missing')
        opens = [lambda n: m.File_Open(n, 'r'), lambda n: m.File_OpenWithOptions(n, 'r', m.new_FileOpenOptions()),
                 lambda n: m.File_OpenFullySpecifiedLocked(n, 'r', attr(0), DEFAULT_MODE, 'root', None)]
        for i, open_ in enumerate(opens + [m.File_OpenForAppend,
                                           lambda n: m.File_OpenOrDieForWriting(n, 'a', None, 0, None)]):
            f = open_(name)
            self.assertIsInstance(f, FileProxy)
            self.assertEqual((f.thisown, m.File_CreateFileName(f), m.File_Close(f)), (0, name, 1), i)
        self.assertEqual(self.contents('a'), 'abc')
        self.assertEqual([open_(missing) for open_ in opens], [None] * len(opens))
        self.assertEqual(m.File_Exists(missing), 0)

    def test_modes_attributes_and_options_given_at_open_reach_the_file(self):
        # What they mean is the library's (fs_conformance_test.cc).
        m.File_Close(m.File_OpenFullySpecified(self.path('w'), 'w', attr(0), 0o600, 'root'))
        m.File_Close(m.File_OpenWithAttr(self.path('z'), 'w', attr(m.Attr_t_FROZEN)))
        self.assertEqual((self.mode_of('w'), m.File_Open(self.path('z'), 'w')), (0o600, None))
        self.assertTypeError('null reference', m.File_OpenWithAttr, self.path('never'), 'w', None)
        for setter, bad in ((m.FileOpenOptions_set_access_pattern, -1), (m.FileOpenOptions_set_cache_policy, 2),
                            (m.FileOpenOptions_set_cache_policy, 2 ** 31 - 1)):  # never cast to the enumerations
            options = m.new_FileOpenOptions()
            setter(options, bad)
            self.assertIs(m.File_OpenWithOptions(self.path('w'), 'r', options), None, (setter.__name__, bad))
            m.delete_FileOpenOptions(options)
        self.assertEqual(m.File_Exists(self.path('never')), 0)

    def test_create_is_unopened_until_opened_and_keeps_the_real_error(self):
        self.put('a', 'data')
        f, g, h = [m.File_Create(self.path(n), mode) for n, mode in (('a', 'r'), ('b', 'w'), ('missing', 'r'))]
        self.assertEqual((f.thisown, g.thisown, m.File_Exists(self.path('b'))), (0, 0, 0))
        assert_results(self, [m.File_OpenThis(f), m.File_OpenThis(g), m.File_Exists(self.path('b')),
                              m.File_OpenThis(h), m.File_GetCurrentErrorCode(h)], [1, 1, 1, 0, m.ERROR_NOT_FOUND])
        self.assertEqual((m.File_ReadToString(f, -1), 'missing' in m.File_GetCurrentErrorMessage(h)),
                         ((4L, 'data'), True))
        assert_results(self, [m.File_Close(f), m.File_Close(g)], [1, 1])
        m.delete_File(h)

    def test_create_forms_pass_attributes_and_options(self):
        options = m.new_FileOpenOptions()
        m.FileOpenOptions_set_permissions(options, 0o640)
        made = [m.File_CreateWithOptions(self.path('o'), 'w', options),
                m.File_CreateFullySpecified(self.path('f'), 'w', attr(0), 0o604, 'root'),
                m.File_CreateWithAttr(self.path('z'), 'w', attr(m.Attr_t_PROTECTED))]
        assert_results(self, [m.File_OpenWithOp(made[0], None), m.File_OpenThis(made[1]), m.File_OpenThis(made[2])]
                       + [m.File_Close(f) for f in made], [1] * 6)
        self.assertEqual((self.mode_of('o'), self.mode_of('f'), m.File_Delete(self.path('z'))), (0o640, 0o604, 0))

    def test_async_outcome_arrives_through_the_completion(self):
        self.put('a', 'xyz')
        for form in (lambda n, w: m.File_OpenAsync(n, 'r', w),
                     lambda n, w: m.File_OpenFullySpecifiedAsyncLocked(n, 'r', attr(0), DEFAULT_MODE, 'root', None, w)):
            for n, error in (('a', m.OK), ('missing', m.ERROR_NOT_FOUND)):
                f, reported = awaited(self, lambda w: form(self.path(n), w))
                self.assertEqual((f.thisown, reported), (0, error))
                if error == m.OK:
                    self.assertEqual(m.File_ReadToString(f, -1), (3L, 'xyz'))
                m.delete_File(f)
        f = m.File_Create(self.path('a'), 'r')
        assert_results(self, awaited(self, lambda w: m.File_OpenAsyncThis(f, w)), [1, m.OK])
        self.assertEqual(m.File_ReadToString(f, -1), (3L, 'xyz'))
        m.delete_File(f)

    def test_handles_come_back_owned_in_order(self):
        names = [self.put('a', 'A'), self.put('b', 'B')]
        for ok, files in (m.File_BulkOpen(tuple(names), 'r'), m.File_BulkOpenWithAttr(names, 'r', attr(0)),
                          m.File_BulkOpenFullySpecified(names, 'r', attr(0), DEFAULT_MODE, 'root')):
            self.assertEqual((type(ok), ok, type(files)), (int, 1, list))
            self.assertEqual([(f.thisown, m.File_ReadToString(f, -1)[1]) for f in files], [(1, 'A'), (1, 'B')])
            for f in files:
                m.delete_File(f)
        self.assertEqual(m.File_BulkOpen([], 'r'), (1, []))
        ok, files = m.File_BulkOpen([names[0], self.path('missing')], 'r')
        self.assertEqual((type(ok), ok, len(files), files[0].thisown), (int, 0, 2, 1))
        m.delete_File(files[0])
        ok, files = m.File_BulkOpen([self.path('x'), self.path('y')], 'w')
        for f, data in zip(files, ('x\0', 'y')):  # delete_File closes what was written
            m.File_WriteString(f, data)
            self.assertIs(m.delete_File(f), None)
        self.assertEqual((ok, self.contents('x'), self.contents('y'), m.delete_File(None)), (1, 'x\0', 'y', None))

    def test_name_lists_are_checked_first(self):
        # The one conversion every name-list parameter shares (bulk rows, factories, attribute stores).
        for bad in ([self.path('never'), 5], [u'x'], 'abc', None, m.new_stringVector(), set(['x'])):
            self.assertTypeError('vector<::string> expected', m.File_BulkOpen, bad, 'w')
        self.assertEqual(m.File_Exists(self.path('never')), 0)


class OrDieTest(pqtest.TestCase):
    def test_failures_end_the_process_from_the_library_header(self):
        missing = pqtest.scratch_dir_of(self) + '/missing'
        for call, line, text in (
                ("m.File_OpenWithAttrOrDie('', 'w', m.new_Attr_t())", 654, 'Bad name for open:'),
                ("m.File_OpenFullySpecifiedOrDie(%r, 'r', m.new_Attr_t(), 0, 'root')" % missing, 658,
                 'Could not open:%s with mode:r' % missing)):
            assert_dies(self, call, text, line)


if __name__ == '__main__':
    pqtest.main()
