"""FileAttr records and the FileAttributes store, locally and under /mem/."""
import file_roots
import pqtest
from file_roots import assert_results
from pqtest import m

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
        self.assertTrue(pqtest.is_pointer_text(m.FileAttr_checksum_get(a), '_p_ChecksumState'))
        self.assertEqual(m.FileAttr_checksum_get(a), m.FileAttr_checksum_get(a))
        source = version(5, 2 ** 63)
        self.assertEqual((m.FileAttr_version_set(a, source), source.thisown), (None, 1))
        m.FileVersion_time_set(source, 6)
        kept = m.FileAttr_version_get(a)
        assert_results(self, [m.FileVersion_time_get(kept), m.FileVersion_creator_get(kept)], [5, 2 ** 63], long)
        m.FileAttr_checksum_set(b, m.FileAttr_checksum_get(a))
        self.assertTypeError('null reference', m.FileAttr_version_set, a, None)
        m.FileAttr_finalized_set(a, 5)
        self.assertIntResult(m.FileAttr_finalized_get(a), 1)
        self.assertIs(m.FileAttr_Clear(a), None)
        assert_results(self, [m.FileAttr_finalized_get(a), m.FileVersion_IsEmpty(m.FileAttr_version_get(a))], [0, 1])


class StoreTest(pqtest.TestCase):
    def test_store_objects_names_and_versions(self):
        # Attribute file names and version order are the library's (file_attributes_test.cc).
        store, own = m.cvar.file_attributes, m.new_FileAttributes()
        self.assertEqual((type(store), store.thisown, m.FileAttributes_ClearCache(store)), (StoreProxy, 0, None))
        self.assertEqual(m.FileAttributes_GetAttributeFileName('dir/name'), 'dir/.name.attr')
        version = m.FileAttributes_CreateVersion(own)
        self.assertEqual((type(version), version.thisown), (VersionProxy, 1))
        self.assertIs(m.delete_FileAttributes(own), None)


@file_roots.on_each_file_system
class StoreCases(file_roots.FileCases):
    def setUp(self):
        file_roots.FileCases.setUp(self)
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
        self.assertRaises(OverflowError, m.FileAttributes_LoadPrefix, self.store, name, 2 ** 63, loaded)
        self.assertEqual(m.FileAttributes_BulkDeleteWithOp(self.store, (name, '', other), op), (0, [1, 0, 1]))
        self.assertIntResult(m.Operation_error(op), m.ERROR_INVALID_ARGUMENT)
        self.assertEqual(m.FileAttributes_BulkDelete(self.store, [name, other]), (1, [1, 1]))


if __name__ == '__main__':
    pqtest.main()
