"""File objects over the library's handles, on every registered file system."""
import cStringIO
import itertools

import _file_base_pyquarry as _m
import file_base_pyquarry  # noqa: F401  (registers the proxy classes)

from pyquarry import errors

READ_CHUNK = 1 << 16     # read-ahead of read(n) and readline()
LINE_CHUNK = 96 << 10    # block size of line iteration (under malloc's mmap threshold)
WRITE_CHUNK = 1 << 16    # writes are gathered up to this size

_pread = _m.File_PReadStringWithOp
_pwrite = _m.File_PWriteStringWithOp


def _parse_mode(mode):
    """Returns (library mode, readable, writable, appending) for an fopen mode."""
    if not isinstance(mode, str) or not mode:
        raise ValueError('invalid mode: %r' % (mode,))
    kind = mode[0]
    rest = mode[1:]
    if kind not in 'rwa' or any(c not in '+bU' for c in rest) or len(set(rest)) != len(rest):
        raise ValueError("mode must be 'r', 'w' or 'a', optionally with '+' and 'b': %r" % (mode,))
    plus = '+' in rest
    return kind + ('+' if plus else ''), kind == 'r' or plus, kind != 'r' or plus, kind == 'a'


class QuarryFile(errors.Held):
    """A file open on any file system, used like Python's own file objects.

    Reads are buffered (positioned reads of the library handle), writes are
    gathered up to 64 KiB before they reach the library. Iterating gives the
    lines; mixing iteration with read() skips what the iteration read ahead,
    as with Python's own files. Failures raise `pyquarry.FileError` with the
    library's code and message."""
    _held = '_handle'
    _kind = 'file'

    def __init__(self, name, mode='r'):
        self.name = name
        self.mode = mode
        self._handle = None
        library_mode, self._readable, self._writable, self._appending = _parse_mode(mode)
        self._handle = errors.open_handle(name, library_mode)
        self._rbuf = ''      # read-ahead; self._rbuf[self._rpos:] is not consumed yet
        self._rpos = 0
        self._fpos = 0       # file offset just past self._rbuf
        self._wbuf = []      # gathered writes, to go at self._fpos
        self._wlen = 0
        if self._appending:
            self._fpos = self._size()

    # -- state ---------------------------------------------------------------
    def _fail(self):
        return errors.from_handle(self._handle, self.name)

    def readable(self):
        self._live()
        return self._readable

    def writable(self):
        self._live()
        return self._writable

    def seekable(self):
        self._live()
        return True

    def __repr__(self):
        return '<%s pyquarry file %r, mode %r>' % ('closed' if self.closed else 'open', self.name, self.mode)

    # -- reading -------------------------------------------------------------
    def _fetch(self, size):
        """Reads up to size bytes at self._fpos, advancing it."""
        data = _pread(self._handle, self._fpos, size, None)
        if data is None:
            raise self._fail()
        self._fpos += len(data)
        return data

    def _start_reading(self):
        handle = self._live()
        if not self._readable:
            raise IOError('File not open for reading')
        if self._wlen:
            self._flush_writes()
        return handle

    def _size(self):
        size = _m.File_Size(self._handle)
        if size < 0:
            raise self._fail()
        return size

    def read(self, size=-1):
        self._start_reading()
        rest = self._rbuf[self._rpos:] if self._rpos < len(self._rbuf) else ''
        if size is None or size < 0:
            self._rbuf, self._rpos = '', 0
            parts = [rest] if rest else []
            remaining = self._size() - self._fpos
            while True:
                data = self._fetch(remaining if remaining > 0 else READ_CHUNK)
                if not data:
                    break
                parts.append(data)
                remaining = 0
            return parts[0] if len(parts) == 1 else ''.join(parts)
        if size <= len(rest):
            self._rpos += size
            return rest[:size]
        parts = [rest]
        self._rbuf, self._rpos = '', 0
        need = size - len(rest)
        while need > 0:
            if need >= READ_CHUNK:
                data = self._fetch(need)
                if not data:
                    break
                parts.append(data)
                need -= len(data)
            else:
                data = self._fetch(READ_CHUNK)
                if not data:
                    break
                self._rbuf, self._rpos = data, min(need, len(data))
                parts.append(data[:need])
                need -= self._rpos
        return ''.join(parts)

    def readline(self, size=-1):
        self._start_reading()
        limit = size if size is not None and size >= 0 else None
        parts = []
        length = 0
        while True:
            buf, pos = self._rbuf, self._rpos
            end = buf.find('\n', pos)
            stop = len(buf) if end < 0 else end + 1
            if limit is not None and stop - pos > limit - length:
                stop = pos + limit - length
            parts.append(buf[pos:stop])
            length += stop - pos
            self._rpos = stop
            if (end >= 0 and stop == end + 1) or (limit is not None and length >= limit):
                break
            data = self._fetch(READ_CHUNK)
            if not data:
                break
            self._rbuf, self._rpos = data, 0
        return parts[0] if len(parts) == 1 else ''.join(parts)

    def readlines(self, hint=-1):
        return list(self)

    def __iter__(self):
        self._start_reading()
        # Blocks of whole lines, each split by cStringIO: the lines come out
        # at the speed of C, as from Python's own file objects.
        return itertools.chain.from_iterable(self._line_blocks())

    def _line_blocks(self):
        rest = self._rbuf[self._rpos:]
        self._rbuf, self._rpos = '', 0
        while self._handle is not None:
            data = self._fetch(LINE_CHUNK)
            if not data:
                break
            cut = data.rfind('\n') + 1
            if not cut:
                rest += data
                continue
            block = rest + data[:cut] if rest else data[:cut]
            rest = data[cut:]
            self._rbuf, self._rpos = rest, 0
            yield cStringIO.StringIO(block)
            rest = self._rbuf[self._rpos:]
            self._rbuf, self._rpos = '', 0
        if rest:
            yield (rest,)

    def next(self):
        line = self.readline()
        if not line:
            raise StopIteration
        return line

    # -- writing -------------------------------------------------------------
    def write(self, data):
        self._live()
        if not self._writable:
            raise IOError('File not open for writing')
        if not isinstance(data, str):
            if isinstance(data, (buffer, bytearray)):
                data = str(data)
            else:
                raise TypeError('write() argument must be a string, not %s' % type(data).__name__)
        if self._rpos < len(self._rbuf) or self._rbuf:
            self._fpos -= len(self._rbuf) - self._rpos  # drop the read-ahead
            self._rbuf, self._rpos = '', 0
        self._wbuf.append(data)
        self._wlen += len(data)
        if self._wlen >= WRITE_CHUNK:
            self._flush_writes()

    def writelines(self, lines):
        for line in lines:
            self.write(line)

    def _flush_writes(self):
        data = self._wbuf[0] if len(self._wbuf) == 1 else ''.join(self._wbuf)
        self._wbuf, self._wlen = [], 0
        if self._appending:
            written = _m.File_WriteString(self._handle, data)
            if written != len(data):
                raise self._fail()
            self._fpos = _m.File_Tell(self._handle)
            return
        written = _pwrite(self._handle, self._fpos, data, None)
        if written != len(data):
            raise self._fail()
        self._fpos += written

    def flush(self):
        handle = self._live()
        if self._wlen:
            self._flush_writes()
        if self._writable and not _m.File_Flush(handle):
            raise self._fail()

    def truncate(self, size=None):
        handle = self._live()
        if not self._writable:
            raise IOError('File not open for writing')
        if size is None:
            size = self.tell()
        if self._wlen:
            self._flush_writes()
        if size < 0:
            raise errors.FileError(_m.ERROR_INVALID_ARGUMENT, 'negative size %d' % size, self.name)
        if not _m.File_Truncate(handle, size):
            raise self._fail()

    # -- position ------------------------------------------------------------
    def tell(self):
        self._live()
        return self._fpos - (len(self._rbuf) - self._rpos) + self._wlen

    def seek(self, offset, whence=0):
        self._live()
        if self._wlen:
            self._flush_writes()
        if whence == 0:
            target = offset
        elif whence == 1:
            target = self.tell() + offset
        elif whence == 2:
            target = self._size() + offset
        else:
            raise ValueError('invalid whence (%r, should be 0, 1 or 2)' % (whence,))
        if target < 0:
            raise errors.FileError(_m.ERROR_INVALID_ARGUMENT, 'seek to a negative offset', self.name)
        self._rbuf, self._rpos = '', 0
        self._fpos = target

    def size(self):
        """The file's current length in bytes (pending writes included)."""
        self._live()
        if self._wlen:
            self._flush_writes()
        return self._size()

    # -- closing -------------------------------------------------------------
    def _release(self):
        handle, self._handle = self._handle, None
        closed = _m.File_Close(handle)
        error = None if closed else errors.from_handle(handle, self.name)
        _m.delete_File(handle)
        return error

    def close(self):
        if self._handle is None:
            return
        try:
            if self._wlen:
                self._flush_writes()
        finally:
            error = self._release()
        if error is not None:
            raise error

    def __enter__(self):
        self._live()
        return self

    def __exit__(self, *exc):
        self.close()



def open(name, mode='r'):  # noqa: A001 (the point of this module)
    """Opens a file of any file system; raises FileError when it cannot."""
    return QuarryFile(name, mode)
