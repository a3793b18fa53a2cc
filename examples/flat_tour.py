"""A short tour of the flat functions of _file_base_pyquarry from Python 2
(the proxy module and pyquarry are in tour.py)."""
import os
import tempfile
import threading

import _file_base_pyquarry as m


class Proxy(object):
    """The smallest proxy class: the module hands it the pointer text."""

    def __init__(self, this):
        self.this = this
        self.thisown = 0

    def __repr__(self):
        return '<%s %s%s>' % (type(self).__name__, self.this[:10], '... owned' if self.thisown else '...')


def proxy_class(name):
    cls = type(name, (Proxy,), {})
    getattr(m, name + '_swigregister')(cls)
    return cls


def section(title):
    print
    print '== %s' % title


def values():
    section('Values')
    proxy_class('FileStat')
    proxy_class('Attr_t')
    proxy_class('FileVersion')
    st = m.new_FileStat()
    print 'a new FileStat:', st
    print '  length %r, owner %r, data_members %r' % (
        m.FileStat_length_get(st), m.FileStat_owner_get(st), m.FileStat_data_members_get(st))
    m.FileStat_owner_set(st, 'tour\0user')
    attrs = m.FileStat_attributes_get(st)  # aliases the record
    m.Attr_t_attr_set(attrs, m.Attr_t_APPEND | m.Attr_t_PROTECTED)
    print '  owner %r, attributes %d' % (m.FileStat_owner_get(st),
                                          m.Attr_t_attr_get(m.FileStat_attributes_get(st)))
    a, b = m.new_FileVersion(), m.new_FileVersion()
    m.FileVersion_time_set(a, 5)
    m.FileVersion_creator_set(a, 2 ** 63)
    m.FileVersion_time_set(b, 5)
    m.FileVersion_creator_set(b, 1)
    print 'versions %s vs %s: cmp %d' % (m.FileVersion_ToString(a), m.FileVersion_ToString(b),
                                        m.FileVersion_cmp(a, b))
    print 'error %d is %r' % (m.ERROR_NOT_FOUND, m.ErrorToString(m.ERROR_NOT_FOUND))
    try:
        m.FileStat_length_get(a)
    except TypeError as e:
        print 'a FileVersion is no FileStat:', e


def globals_():
    section('cvar')
    print 'kDefaultBufferSize', m.cvar.kDefaultBufferSize, '- local factory', repr(m.cvar.FileFactory_local_file),
    print '- memory factory', repr(m.cvar.FileFactory_mem_file)
    try:
        m.cvar.kMaxLogReaderPosLen = 1
    except TypeError as e:
        print 'read-only:', e


def async_completion():
    section('Asynchronous completion')
    proxy_class('AsyncIOWatcher')
    w = m.new_AsyncIOWatcher()
    print 'waiting 50 ms:', m.AsyncIOWatcher_WaitWithTimeout(w, 50)
    timer = threading.Timer(0.05, m.AsyncIO_Finish, args=(w, m.OK, 4096))
    timer.start()
    m.AsyncIOWatcher_Wait(w)  # the lock is released: the timer thread runs
    print 'finished by a second thread: error %d, bytes %r' % (m.AsyncIOWatcher_Error(w),
                                                                m.AsyncIOWatcher_Bytes(w))
    m.delete_AsyncIOWatcher(w)


def files(root):
    section('Files under %s' % root)
    proxy_class('File')
    name = root + '/hello.txt'
    print 'write', m.File_WriteStringToFile('hello\0world\n', name)
    print 'read ', m.File_ReadFileToString(name)
    f = m.File_Open(name, 'r')
    print 'open', f, 'size', m.File_Size(f), 'pread', repr(m.File_PReadStringWithOp(f, 6, 5, None))
    m.File_Close(f)
    m.delete_File(f)  # single opens are not owned by their proxy
    for i in range(3):
        m.File_WriteStringToFile('x' * i, '%s/part-%d' % (root, i))
    print 'match', m.File_Match(root + '/part-*')
    st = m.File_Stat(name)
    print 'stat  length %d mode %o' % (m.FileStat_length_get(st), m.FileStat_mode_get(st))
    print 'bulk exist', m.File_BulkExist([name, root + '/missing'])
    print 'open of a missing file:', m.File_Open(root + '/missing', 'r')

    scratch = root + '/scratch.tmp'
    handle = m.File_Open(scratch, 'w')
    m.File_WriteString(handle, 'temporary')
    holder = m.new_FileDeleter(handle)
    print 'a FileDeleter holds %s (size %d through the holder)' % (os.path.basename(scratch),
                                                                  m.FileDeleter_Size(holder)),
    m.delete_FileDeleter(holder)  # deletes the file, then closes the handle
    m.delete_File(handle)
    print '- exists after the holder went:', m.File_Exists(scratch)

    shards = m.GenerateShardedFilenames(root + '/set@3')
    for shard in shards[1]:
        m.File_WriteStringToFile('shard', shard)
    print 'sharded set', [os.path.basename(n) for n in shards[1]]
    print '  pattern', os.path.basename(m.GenerateShardedFilePattern(root + '/set', 3)),
    print 'matches', len(m.File_Match(m.GenerateShardedFilePattern(root + '/set', 3))[1])

    record = m.new_FileAttr()
    version = m.FileAttributes_CreateVersion(m.cvar.file_attributes)
    m.FileAttr_version_set(record, version)
    print 'attribute record stored:', m.FileAttributes_Store(m.cvar.file_attributes, name, record),
    loaded = m.new_FileAttr()
    m.FileAttributes_Load(m.cvar.file_attributes, name, loaded)
    print 'loaded version', m.FileVersion_ToString(m.FileAttr_version_get(loaded)),
    print 'same:', m.FileVersion___eq__(m.FileAttr_version_get(loaded), version)
    print 'record file', os.path.basename(m.FileAttributes_GetAttributeFileName(name))
    print 'removed', m.File_DeleteRecursively(root), '(files, directories)'


def redundancy(root):
    section('Checksums and archives in ' + root)
    m.File_RecursivelyCreateDir(root, 0o755)
    name = root + '/archived'
    data = ''.join(chr(i * 31 % 256) for i in range(3 << 20))
    m.File_WriteStringToFile(data, name)
    by_name, by_handle = m.new_ChecksumState(), m.new_ChecksumState()
    m.ChecksumState_AddFile(by_name, name)
    f = m.File_Open(name, 'r')
    m.ChecksumState_AddOpenFile(by_handle, f)
    m.delete_File(f)
    print 'CRC-64 by name %#x, by handle %#x, equal: %d' % (
        m.ChecksumState_Checksum(by_name), m.ChecksumState_Checksum(by_handle),
        m.ChecksumState___eq__(by_name, by_handle))
    print 'archive as %s (unit 64 KiB):' % m.FileReedSolomon_Encoding2Name(m.FileReedSolomon_ENCODING_5_8),
    print m.File_Archive([name], m.FileReedSolomon_ENCODING_5_8, 64)
    shards = sorted(m.File_ExtendedMatch(root + '/.archived.rs-*', m.File_MATCH_ALL)[1])
    print 'shards:', ' '.join(os.path.basename(s) for s in shards)
    for lost in shards[1:4]:
        m.File_Delete(lost)
    ok, back = m.File_ReadFileToString(name)
    print 'after deleting three shards: read %d, %d bytes, intact: %s, stat length %d' % (
        ok, len(back), back == data, m.FileStat_length_get(m.File_Stat(name)))
    print 'archiving again repairs it:', m.File_Archive([name], m.FileReedSolomon_ENCODING_5_8, 0),
    print 'shards back:', len(m.File_ExtendedMatch(root + '/.archived.rs-*', m.File_MATCH_ALL)[1])
    print 'removed', m.File_DeleteRecursively(root), '(files, directories)'


def factories():
    section('Factories')
    print 'registered names: local %r, memory %r' % (m.cvar.FileFactory_local_file, m.cvar.FileFactory_mem_file)
    found = m.FileFactory_Find(m.cvar.FileFactory_mem_file)
    print 'Find(mem) hands back an owned shared factory:', found[:8] + '...'
    print 'FindPrefixFactory("/mem/x"):', m.FileFactory_FindPrefixFactory('/mem/x')[:8] + '...'


def record_files(root):
    section('Record files under %s' % root)
    name = root + '/tour.rec'
    w = m.new_RecordWriter(m.File_Open(name, 'w'))
    for i in range(100):
        m.RecordWriter_WriteRecord(w, 'plain record %d ' % i * 20)
    m.RecordWriter_EnableCWCompression(w, 3, 0, 0, 0)
    for i in range(100):
        m.RecordWriter_WriteRecord(w, 'zstd record %d ' % i * 20)
    m.RecordWriter_DisableCompression(w)
    for i in range(100):
        m.RecordWriter_WriteRecord(w, 'tail record %d ' % i * 20)
    print 'wrote 300 records (100 plain, 100 in zstd batches, 100 plain):', m.RecordWriter_Close(w)
    m.delete_RecordWriter(w)
    ok, data = m.File_ReadFileToString(name)
    print 'file size', len(data), 'bytes; damaging 200 bytes at offset 20000'
    m.File_WriteStringToFile(data[:20000] + '#' * 200 + data[20200:], name)
    r = m.new_RecordReaderScript(m.File_Open(name, 'r'))
    got = []
    while True:
        ok, record = m.RecordReaderScript_ReadRecordIntoString(r)
        if not ok:
            break
        got.append(record)
    kinds = [rec.split()[0] for rec in got]
    print 'read back %d records: %d plain, %d zstd, %d tail' % (len(got), kinds.count('plain'), kinds.count('zstd'),
                                                            kinds.count('tail'))
    print 'skipped', m.RecordReader_skipped_bytes(r), 'bytes in', m.RecordReader_skipped_regions(r), 'region(s);',
    print 'every record returned is one that was written:', all(
        rec == (rec.split()[0] + ' record ' + rec.split()[2] + ' ') * 20 for rec in got)
    m.delete_RecordReaderScript(r)
    m.File_DeleteRecursively(root)


def main():
    values()
    globals_()
    async_completion()
    local = tempfile.mkdtemp(prefix='pq-tour-')
    files(local)
    mem = '/mem/tour-%d' % os.getpid()
    m.File_RecursivelyCreateDir(mem, 0o755)
    files(mem)
    redundancy(local)
    redundancy(mem)
    record_files(tempfile.mkdtemp(prefix='pq-tour-'))
    factories()
    print
    print 'tour done'


if __name__ == '__main__':
    main()
