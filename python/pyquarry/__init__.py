"""pyquarry: Pythonic access to the file library, on every file system.

    import pyquarry
    with pyquarry.open('/mem/notes.txt', 'w') as f:
        f.write('hello\\n')
    for line in pyquarry.open('/mem/notes.txt'):
        ...
    pyquarry.copy('/mem/notes.txt', '/tmp/notes.txt')
    with pyquarry.RecordWriter('/mem/r', compression='zstd') as w:
        w.write('a record')
    for record in pyquarry.read_records('/mem/r'):
        ...

Unlike the flat functions of _file_base_pyquarry, failures raise
exceptions: FileError (an IOError) for open files, PathError (an OSError)
for operations on names; both carry the library's error `code`, its
`code_name` and `message`.
"""
import _file_base_pyquarry as _m

from pyquarry.errors import QuarryError, FileError, PathError, CODE_NAMES
from pyquarry.files import QuarryFile, open
from pyquarry.paths import (StatResult, exists, isdir, stat, getsize, glob, escape, listdir,
                            walk, mkdir, makedirs, remove, rmdir, rmtree, rename, copy,
                            read_file, write_file)
from pyquarry.checksums import checksum, sha1, verify, archive, repair
from pyquarry.logs import LogWriter, tail
from pyquarry.records import RecordWriter, RecordReader, DamagedRecordsError, read_records

# The library's error codes, for comparing with QuarryError.code.
globals().update((name, code) for code, name in CODE_NAMES.items())

__all__ = ['QuarryError', 'FileError', 'PathError', 'QuarryFile', 'open', 'StatResult', 'exists',
           'isdir', 'stat', 'getsize', 'glob', 'escape', 'listdir', 'walk', 'mkdir', 'makedirs',
           'remove', 'rmdir', 'rmtree', 'rename', 'copy', 'read_file', 'write_file', 'RecordWriter',
           'RecordReader', 'DamagedRecordsError', 'read_records', 'LogWriter', 'tail', 'checksum', 'sha1',
           'verify', 'archive', 'repair'] + sorted(CODE_NAMES.values())
