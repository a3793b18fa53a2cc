"""Numbered logs: a writer, and `tail`, which follows a live log.

    with pyquarry.LogWriter('/mem/events.') as w:
        w.write('started')
    for record in pyquarry.tail('/mem/events.', poll=None):  # None: stop at the end
        ...

A log is the record files <base>seq00000, <base>seq00001, ... Positions are
the library's log positions (file number and offset in one number).
"""
import time

import _file_base_pyquarry as _m

from pyquarry import errors

_CONCURRENCY = {False: 0, True: 1, 'auto': 2}


class LogWriter(errors.Held):
    """Appends records to the log `base` (continuing its newest file).

    concurrent: False (one writer), True (several appenders) or 'auto'.
    flush() makes the records visible to readers and durable."""
    _held = '_writer'
    _kind = 'log writer'

    def __init__(self, base, concurrent='auto', compression=None, level=6):
        if concurrent not in _CONCURRENCY:
            raise ValueError("concurrent must be False, True or 'auto': %r" % (concurrent,))
        if compression not in (None, 'zlib'):
            raise ValueError("compression must be None or 'zlib': %r" % (compression,))
        self.base = base
        self._writer = None
        writer = _m.new_LogWriter()
        if not _m.LogWriter_Open(writer, base, '', _CONCURRENCY[concurrent]):
            writer.destroy()
            raise errors.FileError(_m.ERROR_UNKNOWN, 'cannot open the log for writing', base)
        self._writer = writer
        if compression == 'zlib':
            _m.LogWriter_EnableCompression(writer, level)

    def write(self, record):
        if not _m.LogWriter_WriteRecordString(self._live(), record):
            raise errors.FileError(_m.ERROR_UNKNOWN, 'cannot write a record to the log', self.base)

    def flush(self):
        if not _m.LogWriter_Flush(self._live()):
            raise errors.FileError(_m.ERROR_UNKNOWN, 'cannot flush the log', self.base)

    def position(self):
        """The position of the next record, as text ("file:offset")."""
        return _m.LogWriter_GetPosition(self._live())

    def close(self):
        writer, self._writer = self._writer, None
        if writer is not None:
            try:
                if not _m.LogWriter_Flush(writer):
                    raise errors.FileError(_m.ERROR_UNKNOWN, 'cannot flush the log', self.base)
            finally:
                _m.LogWriter_Close(writer)
                writer.destroy()

    def __enter__(self):
        return self

    def __exit__(self, kind, value, traceback):
        self.close()


def tail(base, position=None, poll=0.05, stop=None):
    """Yields the records of the log `base` from `position` (a position from
    a reader's tell(); None: the start), and then, while `poll` is a number,
    waits for more, looking every `poll` seconds, until `stop()` is true.
    With poll=None it ends at the current end of the log."""
    reader = _m.new_LogReader(base) if position is None else _m.new_LogReader(base, position)
    try:
        while True:
            ok, record = _m.LogReader_ReadRecordAsStringIfAvailable(reader)
            if ok:
                yield record
                continue
            if poll is None or (stop is not None and stop()):
                return
            time.sleep(poll)
    finally:
        reader.destroy()
