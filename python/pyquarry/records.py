"""Record files: sequences of checked records, on every file system.

    with pyquarry.RecordWriter('/mem/r', compression='zstd') as w:
        w.write('one record')
    for record in pyquarry.read_records('/mem/r'):
        ...

The reader passes over damaged bytes (the library finds the next intact
record) and counts them; `RecordReader.damage` lists the regions, and
`on_damage` chooses whether damage is only counted, raises, or is reported
to a callable. Failures of the file itself raise `pyquarry.FileError` with
the library's code and message.
"""
import _file_base_pyquarry as _m

from pyquarry import errors

# compression name -> (enable call, default level)
_CODECS = {
    'zlib': (lambda w, level: _m.RecordWriter_EnableCompression(w, level), 6),
    'zstd': (lambda w, level: _m.RecordWriter_EnableCWCompression(w, level, 0, 0, 0), 3),
    'lz4': (lambda w, acceleration: _m.RecordWriter_EnablePlumeCompression(w, acceleration), 1),
}
COMPRESSIONS = (None,) + tuple(sorted(_CODECS))

_CONCURRENCY = {False: 0, True: 1, 'auto': 2}


class DamagedRecordsError(errors.FileError):
    """A record file holds damaged bytes (raised when on_damage='raise').

    `offset` is where the damaged region starts, `length` how many bytes
    the reader passed over."""

    def __init__(self, filename, offset, length):
        errors.FileError.__init__(self, _m.ERROR_UNKNOWN,
                                  'damaged record data: %d bytes skipped at offset %d' % (length, offset),
                                  filename)
        self.offset = offset
        self.length = length

    def __reduce__(self):
        return type(self), (self.filename, self.offset, self.length)


class RecordWriter(errors.Held):
    """Writes records to `name` ('w' replaces the file, 'a' appends).

    compression: None, 'zlib' (level 1-9), 'zstd' (level; negative levels
    are the fast ones) or 'lz4' (level is the acceleration, >= 1); records
    are then gathered into compressed batches. concurrent=True makes every
    buffer one append, so several writers can share the file. The records
    are durable once flush() or close() returned."""
    _held = '_writer'
    _kind = 'record writer'

    def __init__(self, name, mode='w', compression=None, level=None, buffer_size=0,
                 concurrent=False, sync_on_close=True):
        if mode not in ('w', 'a'):
            raise ValueError("mode must be 'w' or 'a': %r" % (mode,))
        if compression not in COMPRESSIONS:
            raise ValueError('compression must be one of %s: %r' % (', '.join(map(str, COMPRESSIONS)), compression))
        if concurrent not in _CONCURRENCY:
            raise ValueError("concurrent must be False, True or 'auto': %r" % (concurrent,))
        self.name = name
        self._writer = None
        handle = errors.open_handle(name, mode)
        self._handle = handle  # owned by the writer from here on
        self._writer = _m.new_RecordWriter(handle, buffer_size, _CONCURRENCY[concurrent], 0)
        if not sync_on_close:
            _m.RecordWriter_NoSyncOnClose(self._writer)
        if compression is not None:
            enable, default = _CODECS[compression]
            enable(self._writer, default if level is None else level)

    def _fail(self, writer):
        code = _m.RecordWriter_GetCurrentErrorCode(writer)
        message = _m.RecordWriter_GetCurrentErrorMessage(writer)
        if code == _m.OK:
            code, message = _m.ERROR_UNKNOWN, message or 'the record writer failed'
        return errors.FileError(code, message, self.name)

    def write(self, record):
        """Writes one record (a str or buffer)."""
        writer = self._live()
        if not _m.RecordWriter_WriteRecordString(writer, record):
            raise self._fail(writer)

    def writelines(self, records):
        for record in records:
            self.write(record)

    def tell(self):
        """The position the next record gets (see RecordReader.seek)."""
        return _m.RecordWriter_Tell(self._live())

    def flush(self):
        writer = self._live()
        if not _m.RecordWriter_Flush(writer):
            raise self._fail(writer)

    def close(self):
        """Flushes, syncs and closes; raises when any of it failed."""
        writer, self._writer = self._writer, None
        if writer is None:
            return
        try:
            if not _m.RecordWriter_Close(writer):
                raise self._fail(writer)
        finally:
            writer.destroy()  # an owning proxy: never the flat delete_ as well

    def __enter__(self):
        return self

    def __exit__(self, kind, value, traceback):
        if kind is None:
            self.close()
        else:  # keep the original exception; still release the writer
            try:
                self.close()
            except errors.QuarryError:
                pass

    def __repr__(self):
        return '<%s pyquarry record writer %r>' % ('closed' if self.closed else 'open', self.name)


class RecordReader(errors.Held):
    """Iterates over the records of `name`, in file order.

    Damaged bytes are passed over. `skipped_bytes` and `skipped_regions`
    count them, and `damage` lists (offset, length) of each damaged region
    met so far, where offset is where the reader started to pass over
    bytes. on_damage: None counts only, 'raise' raises
    DamagedRecordsError, a callable is called with (offset, length).
    A failed read of the file raises FileError."""
    _held = '_reader'
    _kind = 'record reader'

    def __init__(self, name, on_damage=None, max_record_length=None, buffer_size=1 << 20):
        if not (on_damage is None or on_damage == 'raise' or callable(on_damage)):
            raise ValueError("on_damage must be None, 'raise' or a callable: %r" % (on_damage,))
        self.name = name
        self.on_damage = on_damage
        self.damage = []
        self._reader = None
        handle = errors.open_handle(name, 'r')
        self._handle = handle  # owned by the reader from here on
        self._reader = _m.new_RecordReaderScript(handle, buffer_size)
        if max_record_length is not None:
            _m.RecordReader_set_max_record_length(self._reader, max_record_length)
        self._regions = 0
        self._pending = None

    @property
    def skipped_bytes(self):
        return _m.RecordReader_skipped_bytes(self._live())

    @property
    def skipped_regions(self):
        return _m.RecordReader_skipped_regions(self._live())

    def __iter__(self):
        return self

    def next(self):
        reader = self._live()
        if self._pending is not None:  # read before a DamagedRecordsError was raised
            record, self._pending = self._pending, None
            return record
        start = _m.RecordReader_FileTell(reader)
        skipped = _m.RecordReader_skipped_bytes(reader)
        ok, record = _m.RecordReaderScript_ReadRecordIntoString(reader)
        if _m.RecordReader_skipped_regions(reader) != self._regions:
            if ok:
                self._pending = record  # not lost when on_damage raises
            self._damaged(start, _m.RecordReader_skipped_bytes(reader) - skipped)
            self._pending = None
        if ok:
            return record
        if _m.RecordReader_read_error(reader):
            error = errors.from_handle(self._handle, self.name)
            _m.RecordReader_clear_read_error(reader)
            raise error
        raise StopIteration

    def _damaged(self, offset, length):
        self._regions = _m.RecordReader_skipped_regions(self._reader)
        self.damage.append((offset, length))
        if self.on_damage == 'raise':
            raise DamagedRecordsError(self.name, offset, length)
        if self.on_damage is not None:
            self.on_damage(offset, length)

    def read(self):
        """The next record, or None at the end."""
        try:
            return self.next()
        except StopIteration:
            return None

    def tell(self):
        """The position of the next record."""
        return _m.RecordReader_Tell(self._live())

    def seek(self, position):
        """Goes back (or on) to a position from tell() or a writer's tell()."""
        if not _m.RecordReader_Seek(self._live(), position):
            raise errors.FileError(_m.ERROR_INVALID_ARGUMENT, 'cannot seek to record position %d' % position,
                                   self.name)

    def close(self):
        reader, self._reader = self._reader, None
        if reader is not None:
            reader.destroy()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        return '<%s pyquarry record reader %r>' % ('closed' if self.closed else 'open', self.name)


def read_records(name, on_damage=None, max_record_length=None):
    """The records of `name` as an iterator (a RecordReader)."""
    return RecordReader(name, on_damage=on_damage, max_record_length=max_record_length)
