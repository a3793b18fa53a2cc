"""Operations on names, on every registered file system."""
import collections
import posixpath
import re

import _file_base_pyquarry as _m
import file_base_pyquarry  # noqa: F401  (registers the proxy classes)

from pyquarry import errors
from pyquarry.files import QuarryFile

COPY_CHUNK = 1 << 22

class StatResult(collections.namedtuple(
        'StatResult', 'st_size st_mtime st_mode owner group attributes is_dir')):
    """What stat() reports: size in bytes, modification time (seconds since
    the epoch), permission bits, owner and group names, the library's
    attribute bits (Attr_t) and whether the name is a directory."""
    __slots__ = ()


class _Call(object):
    """An Operation for one by-name call; turns its failure into PathError.
    (The Operation proxy owns its object and frees it when it goes.)"""

    def __init__(self, name):
        self.name = name
        self.op = file_base_pyquarry.Operation()

    def check(self, ok):
        if not ok:
            raise errors.from_operation(self.op, self.name)
        return ok

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.op = None


def exists(name):
    """True when the name exists (file or directory)."""
    return bool(_m.File_Exists(name))


def isdir(name):
    return bool(_m.File_IsDirectory(name))


def stat(name):
    """The status of a name; PathError when it cannot be had."""
    record = file_base_pyquarry.FileStat()
    with _Call(name) as call:
        call.check(_m.File_StatWithOp(name, record, call.op))
    return StatResult(record.length, record.mtime, record.mode, record.owner, record.group,
                      record.attributes.attr, bool(record.IsDirectory()))


def getsize(name):
    return stat(name).st_size


def glob(pattern, hidden=False):
    """The names matching a shell pattern (`*`, `?`, `[...]`, `{a,b}` per
    component), sorted. Names starting with "." and backups ending in "~"
    show only with hidden=True (or when the pattern asks for them)."""
    kind = _m.File_MATCH_ALL if hidden else _m.File_MATCH_DEFAULT
    with _Call(pattern) as call:
        ok, names = _m.File_ExtendedMatchWithOp(pattern, kind, call.op)
        call.check(ok)
    return names


_GLOB_CHARS = re.compile(r'([*?\[\]{}\\])')


def escape(name):
    """The pattern that matches exactly this name."""
    return _GLOB_CHARS.sub(r'\\\1', name)


def listdir(path):
    """The entry names of a directory (hidden ones included), sorted."""
    # stat raises the library's own failure: missing, unreachable, ...
    if not _m.File_IsDirectory(path) and not stat(path).is_dir:
        raise errors.PathError(_m.ERROR_WRONG_TYPE, 'not a directory', path)
    names = glob(escape(path.rstrip('/') or '/') + '/*', hidden=True)
    return [posixpath.basename(n.rstrip('/')) for n in names]


def walk(top, topdown=True):
    """Like os.walk: (directory, subdirectory names, file names) triples."""
    try:
        names = listdir(top)
    except errors.PathError:
        return
    dirs, files = [], []
    for n in names:
        (dirs if _m.File_IsDirectory(posixpath.join(top, n)) else files).append(n)
    if topdown:
        yield top, dirs, files
    for d in dirs:
        for entry in walk(posixpath.join(top, d), topdown):
            yield entry
    if not topdown:
        yield top, dirs, files


def mkdir(name, mode=0o777):
    with _Call(name) as call:
        call.check(_m.File_CreateDirWithOp(name, mode, call.op))


def makedirs(name, mode=0o777, exist_ok=False):
    """Creates a directory and the missing ones above it."""
    if _m.File_IsDirectory(name):
        if exist_ok:
            return
        raise errors.PathError(_m.ERROR_ALREADY_EXISTS, 'directory exists', name)
    parent = posixpath.dirname(name.rstrip('/'))
    if parent and parent != name and not _m.File_Exists(parent):
        makedirs(parent, mode, exist_ok=True)
    try:
        mkdir(name, mode)
    except errors.PathError as e:  # another process may have made it meanwhile
        if not (exist_ok and e.code == _m.ERROR_ALREADY_EXISTS and _m.File_IsDirectory(name)):
            raise


def remove(name):
    """Deletes a file (not a directory: see rmdir, rmtree)."""
    if _m.File_IsDirectory(name):
        raise errors.PathError(_m.ERROR_WRONG_TYPE, 'is a directory', name)
    with _Call(name) as call:
        call.check(_m.File_DeleteWithOp(name, call.op))


def rmdir(name):
    with _Call(name) as call:
        call.check(_m.File_DeleteDirWithOp(name, call.op))


def rmtree(name):
    """Deletes a directory and everything in it; returns (files, directories)."""
    if not _m.File_Exists(name):
        raise errors.PathError(_m.ERROR_NOT_FOUND, 'no such file or directory', name)
    files, dirs = _m.File_DeleteRecursively(name)
    if _m.File_Exists(name):
        raise errors.PathError(_m.ERROR_UNKNOWN, 'could not delete everything', name)
    return files, dirs


def rename(source, destination, overwrite=True):
    with _Call(source) as call:
        call.check(_m.File_RenameWithOp(source, destination, bool(overwrite), call.op))


def copy(source, destination, chunk=COPY_CHUNK):
    """Copies a file from any file system to any other; returns the bytes
    copied. The copy is written under a temporary name beside the
    destination and renamed into place, so a failed copy never leaves a
    destination that looks complete. A directory destination receives the
    source's base name."""
    if _m.File_IsDirectory(destination):
        destination = posixpath.join(destination, posixpath.basename(source))
    temporary = '%s.part-%s' % (destination, _unique())
    copied = 0
    with QuarryFile(source, 'r') as src:
        try:
            with QuarryFile(temporary, 'w') as dst:
                while True:
                    data = src.read(chunk)
                    if not data:
                        break
                    dst.write(data)
                    copied += len(data)
            rename(temporary, destination)
        except BaseException:
            _m.File_Delete(temporary)
            raise
    return copied


def _unique():
    import os
    import random
    return '%d-%08x' % (os.getpid(), random.getrandbits(32))


def read_file(name):
    """The whole content of a file."""
    with QuarryFile(name, 'r') as f:
        return f.read()


def write_file(name, data):
    """Replaces a file's content with data."""
    with QuarryFile(name, 'w') as f:
        f.write(data)
