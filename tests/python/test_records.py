"""Attr_t, FileStat, FileOpenOptions and FileVersion."""
import pqtest
from file_roots import assert_results
from pqtest import m


class AttrTest(pqtest.TestCase):
    def test_constructors_and_member(self):
        assert_results(self, [m.Attr_t_attr_get(m.new_Attr_t()), m.Attr_t_attr_get(m.new_Attr_t(m.Attr_t_FROZEN)),
                              m.Attr_t_attr_get(m.new_Attr_t(5L))], [0, 8, 5])
        for bad in (('x',), (1, 2), (None,), (1.5,)):
            self.assertNoMatch(m.new_Attr_t, *bad)
        a = m.new_Attr_t()
        m.Attr_t_attr_set(a, m.Attr_t_DEFAULT)
        self.assertRaises(TypeError, m.Attr_t_attr_set, a, 'x')
        self.assertIntResult(m.Attr_t_attr_get(a), 2147483647)


class FileStatTest(pqtest.TestCase):
    def fields(self, s):
        return [m.FileStat_length_get(s), m.FileStat_mtime_get(s), m.Attr_t_attr_get(m.FileStat_attributes_get(s)),
                m.FileStat_mode_get(s), m.FileStat_owner_get(s), m.FileStat_group_get(s), m.FileStat_encoding_get(s),
                m.FileStat_data_members_get(s), m.FileStat_code_members_get(s), m.FileStat_identifier_get(s),
                m.FileStat_IsDirectory(s)]

    def test_defaults_members_and_clear(self):
        defaults = [(long, -1), (int, 0), (int, 0), (int, 0), (str, ''), (str, ''), (str, ''), (int, -1), (int, -1),
                    (long, 0), (int, 0)]
        s = m.new_FileStat()
        self.assertEqual([(type(v), v) for v in self.fields(s)], defaults)
        for field, value in (('length', 2 ** 40), ('mtime', 1700000000), ('mode', 0o40755), ('owner', 'a\0b'),
                             ('data_members', 7), ('identifier', -3L), ('length', -2 ** 63)):
            getattr(m, 'FileStat_%s_set' % field)(s, value)
            self.assertEqual(getattr(m, 'FileStat_%s_get' % field)(s), value)
        self.assertEqual(self.fields(s)[-1], 1)  # a directory mode
        m.FileStat_Clear(s)
        self.assertEqual([(type(v), v) for v in self.fields(s)], defaults)
        for field, bad, error in (('length', '5', TypeError), ('length', 2 ** 63, OverflowError),
                                  ('owner', 5, TypeError), ('mtime', 'x', TypeError),
                                  ('data_members', None, TypeError)):
            self.assertRaises(error, getattr(m, 'FileStat_%s_set' % field), s, bad)

    def test_attributes_alias_and_properties_copy(self):
        s = m.new_FileStat()
        m.FileStat_attributes_set(s, m.new_Attr_t(6))
        alias = m.FileStat_attributes_get(s)
        m.Attr_t_attr_set(alias, 1)
        self.assertIntResult(m.Attr_t_attr_get(m.FileStat_attributes_get(s)), 1)
        p1, p2 = m.FileStat_properties_get(s), m.FileStat_properties_get(s)
        self.assertTrue(pqtest.is_pointer_text(p1, '_p_file__FileProperties'))
        self.assertNotEqual(p1, p2)  # independent copies
        m.FileStat_properties_set(s, p1)

    def test_from_file_stat_copies(self):
        s = pqtest.buffer_holding(9)
        c = m.FromFileStat(s)
        m.FileStat_length_set(s, 1)
        self.assertNotEqual(c, s)
        self.assertLongResult(m.FileStat_length_get(c), 9)
        self.assertTypeError('null reference', m.FromFileStat, None)


class FileOpenOptionsTest(pqtest.TestCase):
    def test_defaults_and_setters(self):
        o = m.new_FileOpenOptions()
        rows = ('direct_io', 'sync_write', 'access_pattern', 'cache_policy', 'group', 'requested_role', 'operation')
        self.assertEqual([getattr(m, 'FileOpenOptions_' + r)(o) for r in rows],
                         [0, 0, m.NORMAL, m.CACHED, None, None, None])
        m.FileOpenOptions_set_direct_io(o)
        m.FileOpenOptions_set_sync_write(o)
        for row, value in (('access_pattern', m.SEQUENTIAL), ('cache_policy', m.UNCACHED), ('permissions', 0o640),
                           ('group', 'staff' + 'x'[:0]), ('requested_role', 'reader')):  # strings are copied
            getattr(m, 'FileOpenOptions_set_' + row)(o, value)
        m.FileOpenOptions_set_attributes(o, m.new_Attr_t(m.Attr_t_APPEND))
        assert_results(self, [getattr(m, 'FileOpenOptions_' + r)(o) for r in rows[:4] + ('permissions',)],
                       [1, 1, 3, 1, 0o640])
        self.assertEqual((m.FileOpenOptions_group(o), m.FileOpenOptions_requested_role(o)), ('staff', 'reader'))
        a = m.FileOpenOptions_attributes(o)
        self.assertIntResult(m.Attr_t_attr_get(a), 1)
        m.delete_Attr_t(a)  # an owned copy
        for setter, bad in ((m.FileOpenOptions_set_group, None), (m.FileOpenOptions_set_permissions, 'x')):
            self.assertRaises(TypeError, setter, o, bad)


class FileVersionTest(pqtest.TestCase):
    def make(self, time, creator):
        v = m.new_FileVersion()
        m.FileVersion_time_set(v, time)
        m.FileVersion_creator_set(v, creator)
        return v

    def test_defaults_and_members(self):
        v = m.new_FileVersion()
        assert_results(self, [m.FileVersion_time_get(v), m.FileVersion_creator_get(v)], [0, 0], long)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 1)
        m.FileVersion_creator_set(v, 1)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 0)
        m.FileVersion_creator_set(v, 2 ** 64 - 1)
        self.assertLongResult(m.FileVersion_creator_get(v), 2 ** 64 - 1)
        for setter, bad in ((m.FileVersion_creator_set, -1L), (m.FileVersion_creator_set, -1),
                            (m.FileVersion_time_set, 2 ** 63)):
            self.assertRaises(OverflowError, setter, v, bad)
        m.FileVersion_Clear(v)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 1)

    def test_order_and_null_references(self):
        self.assertIntResult(m.FileVersion_cmp(self.make(5, 2 ** 63), self.make(5, 1)), 1)
        a, b = self.make(1, 2), self.make(1, 3)
        ops = [getattr(m, 'FileVersion___%s__' % op) for op in ('eq', 'ne', 'lt', 'le', 'gt', 'ge')]
        assert_results(self, [op(a, b) for op in ops], [0, 1, 1, 1, 0, 0])
        for f, args in [(op, (a, None)) for op in ops] + [(m.FileVersion_cmp, (None, a)),
                                                          (m.FileVersion_cmp, (a, 'NULL'))]:
            self.assertTypeError('null reference', f, *args)

    def test_text_form_round_trips(self):
        v, w = self.make(-5, 2 ** 64 - 1), m.new_FileVersion()
        self.assertIntResult(m.FileVersion_FromString(w, m.FileVersion_ToString(v)), 1)
        self.assertIntResult(m.FileVersion_cmp(v, w), 0)
        self.assertIntResult(m.FileVersion_FromString(w, 'garbage'), 0)
        self.assertRaises(TypeError, m.FileVersion_FromString, w, None)


if __name__ == '__main__':
    pqtest.main()
