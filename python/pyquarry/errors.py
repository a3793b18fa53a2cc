"""Exceptions of the Pythonic layer: library failures with their code."""
import errno as _errno

import _file_base_pyquarry as _m

# The library's error codes by value, e.g. {3: 'ERROR_NOT_FOUND'}.
CODE_NAMES = dict((value, name) for name, value in vars(_m).items()
                  if (name.startswith('ERROR_') or name in ('OK', 'INTERNAL_ERROR'))
                  and isinstance(value, int))

# The POSIX error number closest to each library code, so that code written
# for the built-in file functions (`e.errno == errno.ENOENT`) keeps working.
_ERRNO = {
    'ERROR_INVALID_ARGUMENT': _errno.EINVAL,
    'ERROR_DEADLINE_EXCEEDED': _errno.ETIMEDOUT,
    'ERROR_NOT_FOUND': _errno.ENOENT,
    'ERROR_ALREADY_EXISTS': _errno.EEXIST,
    'ERROR_PERMISSION_DENIED': _errno.EACCES,
    'ERROR_NOT_EMPTY': _errno.ENOTEMPTY,
    'ERROR_NO_SPACE': _errno.ENOSPC,
    'ERROR_UNIMPLEMENTED': _errno.ENOSYS,
    'ERROR_TEMPORARY': _errno.EAGAIN,
    'INTERNAL_ERROR': _errno.EIO,
    'ERROR_UNKNOWN': _errno.EIO,
}


class QuarryError(EnvironmentError):
    """A failure the file library reported.

    `code` is the library's error code (`pyquarry.ERROR_NOT_FOUND`, ...),
    `code_name` its name, `message` the library's own message, `filename`
    the name the call was about. `errno` is the nearest POSIX number (None
    when there is none, as for ERROR_WRONG_TYPE)."""

    def __init__(self, code, message, filename=None):
        self.code = code
        self.code_name = CODE_NAMES.get(code, 'error %d' % code)
        self.message = message
        EnvironmentError.__init__(self, _ERRNO.get(self.code_name), message, filename)

    def __str__(self):
        text = self.message or _m.ErrorToString(self.code)
        if self.filename is not None and self.filename not in text:
            text = '%s: %s' % (self.filename, text)
        return '%s [%s]' % (text, self.code_name)

    def __reduce__(self):
        return type(self), (self.code, self.message, self.filename)


class FileError(QuarryError, IOError):
    """A failure of an open file: opening, reading, writing, closing."""


class PathError(QuarryError, OSError):
    """A failure of an operation on names: stat, remove, rename, mkdir..."""


def from_handle(handle, filename, cls=FileError):
    """The error an open (or failed to open) handle keeps."""
    code = _m.File_GetCurrentErrorCode(handle)
    message = _m.File_GetCurrentErrorMessage(handle)
    if code == _m.OK:  # the library failed without saying why
        code, message = _m.ERROR_UNKNOWN, message or 'the operation failed'
    return cls(code, message, filename)


def from_operation(op, filename, cls=PathError):
    """The error an Operation recorded."""
    code = _m.Operation_error(op)
    status = _m.Operation_Status(op)  # "<code text>: <message>"
    prefix = _m.ErrorToString(code) + ': '
    message = status[len(prefix):] if status.startswith(prefix) else status
    if code == _m.OK:
        code, message = _m.ERROR_UNKNOWN, 'the operation failed'
    return cls(code, message, filename)


class Held(object):
    """Base of the objects that hold a library object until closed: the
    attribute named by `_held` holds it, None once closed. An object
    dropped while open is closed quietly."""
    _held = '_obj'
    _kind = 'object'

    @property
    def closed(self):
        return getattr(self, self._held, None) is None

    def _live(self):
        held = getattr(self, self._held, None)
        if held is None:
            raise ValueError('I/O operation on closed ' + self._kind)
        return held

    def __del__(self):
        if getattr(self, self._held, None) is not None:
            try:
                self.close()
            except (EnvironmentError, ValueError):
                pass


def open_handle(name, mode):
    """An open library handle, or FileError with the library's reason."""
    handle = _m.File_Create(name, mode)
    if handle is None:
        raise FileError(_m.ERROR_INVALID_ARGUMENT, 'no file system takes this name', name)
    if not _m.File_OpenThis(handle):
        error = from_handle(handle, name)
        _m.delete_File(handle)
        raise error
    return handle
