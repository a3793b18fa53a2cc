"""Value records (Attr_t, FileStat, FileOpenOptions, FileVersion: defaults, conversions at
the type boundaries, aliasing and copying members), FileAttr records and the FileAttributes store."""
import pqtest
from pqtest import assert_results, m


VersionProxy = pqtest.register_proxy('FileVersion')
StoreProxy = pqtest.register_proxy('FileAttributes')


def version(time, creator):
    v = m.new_FileVersion()
    m.FileVersion_time_set(v, time)
    m.FileVersion_creator_set(v, creator)
    return v


def attr_with_version(time):
    a = m.new_FileAttr()
    m.FileAttr_version_set(a, version(time, 7))
    return a


class FileAttrTest(pqtest.TestCase):
    def test_getters_point_into_the_record_and_setters_copy(self):
        a, b = m.new_FileAttr(), m.new_FileAttr()
        v = m.FileAttr_version_get(a)
        self.assertEqual((type(v), v.thisown), (VersionProxy, 0))
        m.FileVersion_time_set(v, 99)
        self.assertLongResult(m.FileVersion_time_get(m.FileAttr_version_get(a)), 99)
        self.assertEqual(m.FileAttr_checksum_get(a), m.FileAttr_checksum_get(a))  # the record's own member
        source = version(5, 2 ** 63)
        self.assertEqual((m.FileAttr_version_set(a, source), source.thisown), (None, 1))
        m.FileVersion_time_set(source, 6)
        kept = m.FileAttr_version_get(a)
        assert_results(self, [m.FileVersion_time_get(kept), m.FileVersion_creator_get(kept)], [5, 2 ** 63], long)
        m.FileAttr_checksum_set(b, m.FileAttr_checksum_get(a))
        self.assertTypeError('null reference', m.FileAttr_version_set, a, None)

    def test_store_objects_names_and_versions(self):
        # Attribute file names and version order are the library's (file_attributes_test.cc).
        store, own = m.cvar.file_attributes, m.new_FileAttributes()
        self.assertEqual((type(store), store.thisown, m.FileAttributes_ClearCache(store)), (StoreProxy, 0, None))
        version = m.FileAttributes_CreateVersion(own)
        self.assertEqual((type(version), version.thisown), (VersionProxy, 1))
        self.assertIs(m.delete_FileAttributes(own), None)


@pqtest.on_each_file_system
class StoreCases(pqtest.FileCases):
    def setUp(self):
        pqtest.FileCases.setUp(self)
        self.store = m.new_FileAttributes()

    def test_rows_and_their_arguments(self):
        # What the store keeps is the library's (file_attributes_test.cc).
        name, other, loaded, op = self.put('a', 'abcdef'), self.put('b', '2'), m.new_FileAttr(), m.new_Operation()
        assert_results(self, [m.FileAttributes_Load(self.store, name, loaded),
                              m.FileAttributes_Store(self.store, name, attr_with_version(123)),
                              m.FileAttributes_Load(m.cvar.file_attributes, name, loaded),
                              m.FileAttributes_Load(self.store, name, None),
                              m.FileAttributes_Store(self.store, name, None),
                              m.FileAttributes_Finalize(self.store, self.put('p', 'abcdef')),
                              m.FileAttributes_LoadPrefix(self.store, self.path('p'), 3L, loaded),
                              m.FileAttributes_Store(self.store, other, attr_with_version(1)),
                              m.FileAttributes_DeleteWithOp(self.store, other, op),
                              m.FileAttributes_Delete(self.store, name)], [0, 1, 1, 0, 0, 1, 1, 1, 1, 1])
        self.assertIntResult(m.FileAttr_finalized_get(loaded), 1)
        self.assertEqual((m.FileAttributes_BulkDeleteWithOp(self.store, (name, '', other), op), m.Operation_error(op)),
                         ((0, [1, 0, 1]), m.ERROR_INVALID_ARGUMENT))


class ValueRecordTest(pqtest.TestCase):
    def test_attr_constructors_and_file_stat_defaults_boundaries_and_clear(self):
        assert_results(self, [m.Attr_t_attr_get(m.new_Attr_t()), m.Attr_t_attr_get(m.new_Attr_t(m.Attr_t_FROZEN)),
                              m.Attr_t_attr_get(m.new_Attr_t(5L))], [0, 8, 5])
        self.assertNoMatch(m.new_Attr_t, 1.5)
        s = m.new_FileStat()
        fields = lambda: [m.FileStat_length_get(s), m.FileStat_mtime_get(s), m.FileStat_mode_get(s),
                          m.FileStat_owner_get(s), m.FileStat_encoding_get(s), m.FileStat_data_members_get(s),
                          m.FileStat_identifier_get(s), m.FileStat_IsDirectory(s)]
        defaults = [(long, -1), (int, 0), (int, 0), (str, ''), (str, ''), (int, -1), (long, 0), (int, 0)]
        self.assertEqual([(type(v), v) for v in fields()], defaults)
        for field, value in (('length', 2 ** 40), ('owner', 'a\0b'), ('identifier', -3L), ('length', -2 ** 63)):
            getattr(m, 'FileStat_%s_set' % field)(s, value)
            self.assertEqual(getattr(m, 'FileStat_%s_get' % field)(s), value)
        m.FileStat_mode_set(s, 0o40755)
        self.assertIntResult(m.FileStat_IsDirectory(s), 1)
        m.FileStat_Clear(s)
        self.assertEqual([(type(v), v) for v in fields()], defaults)
        for field, bad, error in (('length', '5', TypeError), ('length', 2 ** 63, OverflowError),
                                  ('owner', 5, TypeError)):
            self.assertRaises(error, getattr(m, 'FileStat_%s_set' % field), s, bad)

    def test_attributes_alias_properties_and_from_file_stat_copy(self):
        s = m.new_FileStat()
        m.FileStat_attributes_set(s, m.new_Attr_t(6))
        m.Attr_t_attr_set(m.FileStat_attributes_get(s), 1)
        self.assertIntResult(m.Attr_t_attr_get(m.FileStat_attributes_get(s)), 1)
        p1, p2 = m.FileStat_properties_get(s), m.FileStat_properties_get(s)
        self.assertTrue(pqtest.is_pointer_text(p1, '_p_file__FileProperties') and p1 != p2)  # independent copies
        m.FileStat_length_set(s, 9)
        c = m.FromFileStat(s)
        m.FileStat_length_set(s, 1)
        self.assertEqual((c != s, m.FileStat_length_get(c)), (True, 9))

    def test_open_options_defaults_and_copied_texts(self):
        o = m.new_FileOpenOptions()  # unset texts and pointers come back as None
        self.assertEqual([m.FileOpenOptions_group(o), m.FileOpenOptions_operation(o)], [None, None])
        m.FileOpenOptions_set_group(o, 'staff' + 'x'[:0])  # a string of its own: copied
        m.FileOpenOptions_set_attributes(o, m.new_Attr_t(m.Attr_t_APPEND))
        a = m.FileOpenOptions_attributes(o)
        self.assertEqual((m.FileOpenOptions_group(o), m.Attr_t_attr_get(a)), ('staff', 1))
        m.delete_Attr_t(a)  # an owned copy

    def test_version_unsigned_members_order_and_text(self):
        v = m.new_FileVersion()
        assert_results(self, [m.FileVersion_time_get(v), m.FileVersion_creator_get(v)], [0, 0], long)
        self.assertIntResult(m.FileVersion_IsEmpty(v), 1)
        m.FileVersion_creator_set(v, 2 ** 64 - 1)
        self.assertEqual((m.FileVersion_creator_get(v), m.FileVersion_IsEmpty(v)), (2 ** 64 - 1, 0))
        for setter, bad in ((m.FileVersion_creator_set, -1), (m.FileVersion_time_set, 2 ** 63)):
            self.assertRaises(OverflowError, setter, v, bad)
        self.assertIntResult(m.FileVersion_cmp(version(5, 2 ** 63), version(5, 1)), 1)
        a, b = version(1, 2), version(1, 3)
        ops = [getattr(m, 'FileVersion___%s__' % op) for op in ('eq', 'ne', 'lt', 'le', 'gt', 'ge')]
        assert_results(self, [op(a, b) for op in ops], [0, 1, 1, 1, 0, 0])
        v, w = version(-5, 2 ** 64 - 1), m.new_FileVersion()
        assert_results(self, [m.FileVersion_FromString(w, m.FileVersion_ToString(v)), m.FileVersion_cmp(v, w),
                              m.FileVersion_FromString(w, 'garbage')], [1, 0, 0])

if __name__ == '__main__':
    pqtest.main()
