"""A short tour of _file_base_pyquarry from Python 2."""
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
    if not hasattr(m, 'File_Open'):
        return
    section('Files under %s' % root)
    proxy_class('File')
    name = root + '/hello.txt'
    print 'write', m.File_WriteStringToFile('hello\0world\n', name)
    print 'read ', m.File_ReadFileToString(name)
    f = m.File_Open(name, 'r')
    print 'open', f, 'size', m.File_Size(f), 'pread', repr(m.File_PReadStringWithOp(f, 6, 5, None))
    m.File_Close(f)
    for i in range(3):
        m.File_WriteStringToFile('x' * i, '%s/part-%d' % (root, i))
    print 'match', m.File_Match(root + '/part-*')
    st = m.File_Stat(name)
    print 'stat  length %d mode %o' % (m.FileStat_length_get(st), m.FileStat_mode_get(st))
    print 'bulk exist', m.File_BulkExist([name, root + '/missing'])
    print 'open of a missing file:', m.File_Open(root + '/missing', 'r')


def main():
    values()
    globals_()
    async_completion()
    local = tempfile.mkdtemp(prefix='pq-tour-')
    files(local)
    if hasattr(m, 'File_RecursivelyCreateDir'):
        mem = '/mem/tour-%d' % os.getpid()
        m.File_RecursivelyCreateDir(mem, 0o755)
        files(mem)
    print
    print 'tour done'


if __name__ == '__main__':
    main()
