"""Checksums, SHA-1 and Reed-Solomon archives of files on any file system."""
import hashlib

import _file_base_pyquarry as _m
import file_base_pyquarry  # noqa: F401  (registers the proxy classes)

from pyquarry import errors
from pyquarry.files import QuarryFile
from pyquarry.paths import stat

ENCODINGS = {'rs_5_8': _m.FileReedSolomon_ENCODING_5_8, 'rs_9_13': _m.FileReedSolomon_ENCODING_9_13,
             'rs_20_30': _m.FileReedSolomon_ENCODING_20_30}
_PIECE = 1 << 20


def _not_a_directory(name):
    if _m.File_IsDirectory(name):
        raise errors.FileError(_m.ERROR_WRONG_TYPE, 'is a directory', name)


def _state(name):
    """The ChecksumState of the whole file, read by the library."""
    _not_a_directory(name)
    handle = errors.open_handle(name, 'r')
    try:
        state = file_base_pyquarry.ChecksumState()
        if not _m.ChecksumState_AddOpenFile(state, handle):
            raise errors.from_handle(handle, name)
        return state
    finally:
        _m.File_Close(handle)
        _m.delete_File(handle)


def checksum(name):
    """The library's running checksum (CRC-64/XZ) of the file's bytes, as an
    int; `quarry checksum` prints it as 16 hex digits."""
    return _state(name).Checksum()


def sha1(name):
    """The SHA-1 of the file's bytes as 40 hex digits (`sha1sum`'s form)."""
    digest = hashlib.sha1()
    _not_a_directory(name)
    with QuarryFile(name, 'r') as f:
        for piece in iter(lambda: f.read(_PIECE), ''):
            digest.update(piece)
    return digest.hexdigest()


def verify(name):
    """True when the file's bytes match the checksum in its attribute record,
    False when they differ. FileError when no checksum is recorded
    (ERROR_NOT_FOUND) or the file cannot be read."""
    record = file_base_pyquarry.FileAttr()
    if not file_base_pyquarry.FileAttributes().Load(name, record):
        stat(name)  # a missing name raises its own error
        raise errors.FileError(_m.ERROR_NOT_FOUND, 'no checksum is recorded for the file', name)
    recorded, actual = record.checksum, _state(name)
    return (recorded.Checksum(), recorded.Length()) == (actual.Checksum(), actual.Length())


def archive(name, encoding='rs_9_13', unit_kib=0):
    """Turns the file into a Reed-Solomon archive (docs/redundancy.md): it
    keeps reading as the same bytes while up to 3 of 8 (rs_5_8), 4 of 13
    (rs_9_13) or 10 of 30 (rs_20_30) shards may be lost; `unit_kib` is the
    cell size (0: 256 KiB). A name that is already an archive is refused
    (repair() mends it)."""
    if encoding not in ENCODINGS:
        raise ValueError('encoding must be one of %s, not %r' % (', '.join(sorted(ENCODINGS)), encoding))
    if not 0 <= unit_kib <= 65536:
        raise ValueError('unit_kib must be from 0 to 65536')
    if _is_archive(name):
        raise errors.PathError(_m.ERROR_ALREADY_EXISTS, 'is already an archive', name)
    if not _m.File_Archive([name], ENCODINGS[encoding], unit_kib)[0]:
        _checksum_or_raise(name, 'cannot archive the file')


def repair(name):
    """Reads every cell of the archive and rewrites the shards that are lost
    or damaged; an archive beyond repair is left as it was and raises
    FileError (INTERNAL_ERROR, "data loss: ...")."""
    if not _is_archive(name):
        raise errors.PathError(_m.ERROR_INVALID_ARGUMENT, 'is not an archive', name)
    if not _m.File_Archive([name], 0, 0)[0]:
        _checksum_or_raise(name, 'cannot repair the archive')


def _is_archive(name):
    return bool(stat(name).attributes & _m.Attr_t_FROZEN)


def _checksum_or_raise(name, what):
    """After a failed archive call (whose reason only goes to the log):
    reading the file raises the library's own error when the bytes are what
    failed; otherwise the failure is reported without a code."""
    checksum(name)
    raise errors.PathError(_m.ERROR_UNKNOWN, what + ' (the reason is in the library log)', name)
