"""Attr_t, FileStat, FileOpenOptions, ErrorToString and FileVersion."""
import pqtest
from pqtest import m


class AttrTest(pqtest.TestCase):
    def test_constructors(self):
        self.assertIntResult(m.Attr_t_attr_get(m.new_Attr_t()), 0)
        self.assertIntResult(m.Attr_t_attr_get(m.new_Attr_t(m.Attr_t_FROZEN)), 8)
        self.assertIntResult(m.Attr_t_attr_get(m.new_Attr_t(5L)), 5)
        for bad in (('x',), (1, 2), (None,), (1.5,)):
            self.assertTypeError("No matching function for overloaded 'new_Attr_t'", m.new_Attr_t, *bad)

    def test_member(self):
        a = m.new_Attr_t()
        m.Attr_t_attr_set(a, m.Attr_t_DEFAULT)
        self.assertIntResult(m.Attr_t_attr_get(a), 2147483647)
        self.assertRaises(TypeError, m.Attr_t_attr_set, a, 'x')
        self.assertIntResult(m.Attr_t_attr_get(a), 2147483647)


class FileStatTest(pqtest.TestCase):
    def test_defaults(self):
        s = m.new_FileStat()
        self.assertLongResult(m.FileStat_length_get(s), -1)
        self.assertIntResult(m.FileStat_mtime_get(s), 0)
        self.assertIntResult(m.Attr_t_attr_get(m.FileStat_attributes_get(s)), 0)
        self.assertIntResult(m.FileStat_mode_get(s), 0)
        for field in ('owner', 'group', 'encoding'):
            self.assertEqual(getattr(m, 'FileStat_%s_get' % field)(s), '')
        self.assertIntResult(m.FileStat_data_members_get(s), -1)
        self.assertIntResult(m.FileStat_code_members_get(s), -1)
        self.assertLongResult(m.FileStat_identifier_get(s), 0)
        self.assertIntResult(m.FileStat_IsDirectory(s), 0)

    def test_members_round_trip(self):
        s = m.new_FileStat()
        m.FileStat_length_set(s, 5)
        self.assertLongResult(m.FileStat_length_get(s), 5)
        m.FileStat_length_set(s, 2 ** 40)
        self.assertLongResult(m.FileStat_length_get(s), 2 ** 40)
        m.FileStat_mtime_set(s, 1700000000)
        self.assertIntResult(m.FileStat_mtime_get(s), 1700000000)
        m.FileStat_mode_set(s, 0o40755)
        self.assertIntResult(m.FileStat_IsDirectory(s), 1)
        m.FileStat_owner_set(s, 'a\0b')
        self.assertEqual(m.FileStat_owner_get(s), 'a\0b')
        m.FileStat_data_members_set(s, 7)
        self.assertIntResult(m.FileStat_data_members_get(s), 7)
        m.FileStat_identifier_set(s, -3L)
        self.assertLongResult(m.FileStat_identifier_get(s), -3)
        m.FileStat_Clear(s)
        self.assertLongResult(m.FileStat_length_get(s), -1)
        self.assertEqual(m.FileStat_owner_get(s), '')

    def test_64_bit_rules(self):
        s = m.new_FileStat()
        self.assertRaises(TypeError, m.FileStat_length_set, s, '5')
        self.assertRaises(OverflowError, m.FileStat_length_set, s, 2 ** 63)
        m.FileStat_length_set(s, -2 ** 63)
        self.assertLongResult(m.FileStat_length_get(s), -2 ** 63)
        self.assertRaises(TypeError, m.FileStat_owner_set, s, 5)
        self.assertRaises(TypeError, m.FileStat_mtime_set, s, 'x')
        self.assertRaises(TypeError, m.FileStat_data_members_set, s, None)

    def test_attributes_alias_and_properties_copy(self):
        s = m.new_FileStat()
        m.FileStat_attributes_set(s, m.new_Attr_t(6))
        alias = m.FileStat_attributes_get(s)
        m.Attr_t_attr_set(alias, 1)
        self.assertIntResult(m.Attr_t_attr_get(m.FileStat_attributes_get(s)), 1)
        p1 = m.FileStat_properties_get(s)
        p2 = m.FileStat_properties_get(s)
        self.assertTrue(pqtest.is_pointer_text(p1, '_p_file__FileProperties'))
        self.assertNotEqual(p1, p2)  # independent copies
        m.FileStat_properties_set(s, p1)

    def test_from_file_stat_copies(self):
        s = m.new_FileStat()
        m.FileStat_length_set(s, 9)
        c = m.FromFileStat(s)
        self.assertNotEqual(c, s)
        m.FileStat_length_set(s, 1)
        self.assertLongResult(m.FileStat_length_get(c), 9)
        self.assertTypeError('null reference', m.FromFileStat, None)


class FileOpenOptionsTest(pqtest.TestCase):
    def test_defaults(self):
        o = m.new_FileOpenOptions()
        self.assertIntResult(m.FileOpenOptions_direct_io(o), 0)
        self.assertIntResult(m.FileOpenOptions_sync_write(o), 0)
        self.assertIntResult(m.FileOpenOptions_access_pattern(o), m.NORMAL)
        self.assertIntResult(m.FileOpenOptions_cache_policy(o), m.CACHED)
        self.assertIs(m.FileOpenOptions_group(o), None)
        self.assertIs(m.FileOpenOptions_requested_role(o), None)
        self.assertIs(m.FileOpenOptions_operation(o), None)

    def test_setters(self):
        o = m.new_FileOpenOptions()
        m.FileOpenOptions_set_direct_io(o)
        m.FileOpenOptions_set_sync_write(o)
        m.FileOpenOptions_set_access_pattern(o, m.SEQUENTIAL)
        m.FileOpenOptions_set_cache_policy(o, m.UNCACHED)
        m.FileOpenOptions_set_permissions(o, 0o640)
        group = 'staff' + 'x'[:0]
        m.FileOpenOptions_set_group(o, group)
        del group  # the options keep their own copy
        m.FileOpenOptions_set_requested_role(o, 'reader')
        m.FileOpenOptions_set_attributes(o, m.new_Attr_t(m.Attr_t_APPEND))
        self.assertEqual((m.FileOpenOptions_direct_io(o), m.FileOpenOptions_sync_write(o)), (1, 1))
        self.assertEqual(m.FileOpenOptions_access_pattern(o), 3)
        self.assertEqual(m.FileOpenOptions_cache_policy(o), 1)
        self.assertIntResult(m.FileOpenOptions_permissions(o), 0o640)
        self.assertEqual(m.FileOpenOptions_group(o), 'staff')
        self.assertEqual(m.FileOpenOptions_requested_role(o), 'reader')
        a = m.FileOpenOptions_attributes(o)
        self.assertIntResult(m.Attr_t_attr_get(a), 1)
        m.delete_Attr_t(a)  # an owned copy
        self.assertRaises(TypeError, m.FileOpenOptions_set_group, o, None)
        self.assertRaises(TypeError, m.FileOpenOptions_set_permissions, o, 'x')


class ErrorToStringTest(pqtest.TestCase):
    def test_texts(self):
        self.assertIn('not found', m.ErrorToString(m.ERROR_NOT_FOUND))
        self.assertIn('99', m.ErrorToString(99))
        self.assertRaises(TypeError, m.ErrorToString, 'x')


class FileVersionTest(pqtest.TestCase):
    def make(self, time, creator):
        v = m.new_FileVersion()
        m.FileVersion_time_set(v, time)
        m.FileVersion_creator_set(v, creator)
        return v

    def test_defaults_and_members(self):
        v = m.new_FileVersion()
        self.assertLongResult(m.FileVersion_time_get(v), 0)
        self.assertLongResult(m.FileVersion_creator_get(v), 0)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 1)
        m.FileVersion_creator_set(v, 1)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 0)
        m.FileVersion_creator_set(v, 2 ** 64 - 1)
        self.assertLongResult(m.FileVersion_creator_get(v), 2 ** 64 - 1)
        self.assertRaises(OverflowError, m.FileVersion_creator_set, v, -1L)
        self.assertRaises(OverflowError, m.FileVersion_creator_set, v, -1)
        self.assertRaises(OverflowError, m.FileVersion_time_set, v, 2 ** 63)
        m.FileVersion_Clear(v)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 1)

    def test_order(self):
        self.assertIntResult(m.FileVersion_cmp(self.make(5, 2 ** 63), self.make(5, 1)), 1)
        a, b = self.make(1, 2), self.make(1, 3)
        results = [getattr(m, 'FileVersion___%s__' % op)(a, b) for op in ('eq', 'ne', 'lt', 'le', 'gt', 'ge')]
        self.assertEqual(results, [0, 1, 1, 1, 0, 0])
        for r in results:
            self.assertIs(type(r), int)

    def test_null_references(self):
        v = self.make(1, 1)
        for op in ('eq', 'ne', 'lt', 'le', 'gt', 'ge'):
            self.assertTypeError('null reference', getattr(m, 'FileVersion___%s__' % op), v, None)
        self.assertTypeError('null reference', m.FileVersion_cmp, None, v)
        self.assertTypeError('null reference', m.FileVersion_cmp, v, 'NULL')

    def test_text_form_round_trips(self):
        v, w = self.make(-5, 2 ** 64 - 1), m.new_FileVersion()
        self.assertIntResult(m.FileVersion_FromString(w, m.FileVersion_ToString(v)), 1)
        self.assertIntResult(m.FileVersion_cmp(v, w), 0)
        self.assertIntResult(m.FileVersion_FromString(w, 'garbage'), 0)
        self.assertRaises(TypeError, m.FileVersion_FromString, w, None)


if __name__ == '__main__':
    pqtest.main()
