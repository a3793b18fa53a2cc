"""A tour of the proxy classes (file_base_pyquarry) and the Pythonic layer
(pyquarry). The flat functions underneath are toured in flat_tour.py."""
import os
import tempfile

import file_base_pyquarry as fb
import pyquarry


def section(title):
    print
    print '== %s' % title


def proxies():
    section('Proxy classes')
    st = fb.FileStat()
    print 'a new FileStat owns its object:', st
    st.owner = 'tour'
    st.length = 2 ** 40
    print '  members as properties: owner %r, length %d' % (st.owner, st.length)
    name = tempfile.mktemp(prefix='pq-tour-')
    fb.File.WriteStringToFile('hello proxies\n', name)
    f = fb.File.Open(name, 'r')
    print 'File.Open gives', f, '- size', f.Size(), '- first bytes', repr(f.PReadStringWithOp(0, 5, None))
    f.Close()
    f.destroy()  # single opens are not owned by their proxy: free them yourself
    a, b = fb.FileVersion(), fb.FileVersion()
    a.time, b.time = 5, 6
    print 'versions compare:', a < b, a == b
    print 'constants on their class: Attr_t.APPEND =', fb.Attr_t.APPEND, '- cvar:', fb.cvar.FileFactory_mem_file
    fb.File.Delete(name)


def streams():
    section('Buffered streams with a checksum record')
    name = '/mem/tour-streams-%d/poem.txt' % os.getpid()
    fb.File.RecursivelyCreateDir(os.path.dirname(name), 0o755)
    opts = fb.OutputBufferOptions()
    opts.set_attribute_file(1)  # keep a checksum of what is written, stored on close
    out = fb.OutputBuffer.OpenWithOptions(name, 'w', opts)
    for line in ('the stream writes', 'the record remembers', 'the reader checks'):
        out.WriteLine(line)
    print 'OutputBuffer wrote %d bytes, keeping a checksum: %d' % (out.Tell(), out.keeps_checksum())
    out.CloseFile()
    out.destroy()  # the static openers hand back buffers their proxy does not own
    verdicts = dict((getattr(fb.InputBuffer, v), v) for v in ('MATCHES_FULL', 'MATCHES_PREFIX', 'MISMATCH'))

    def read_and_verify(show):
        reader = fb.InputBuffer(fb.File.Open(name, 'r'))  # owns its file
        reader.SetChecksumming(1, 0)
        line = reader.ReadLineAsString(1000)
        while line:
            if show:
                print '  line:', repr(line)
            line = reader.ReadLineAsString(1000)
        return verdicts.get(reader.VerifyChecksum(''), 'no record')
    print 'InputBuffer reads it back line by line:'
    verdict = read_and_verify(True)
    print 'and VerifyChecksum says', verdict
    f = fb.File.Open(name, 'r+')
    f.PWriteStringWithOp(4, 'S', None)  # one changed byte
    f.Close()
    f.destroy()
    print 'after changing one byte, VerifyChecksum says', read_and_verify(False)
    fb.File.DeleteRecursively(os.path.dirname(name))


def pythonic():
    section('pyquarry')
    local = tempfile.mkdtemp(prefix='pq-tour-')
    mem = '/mem/tour-%d' % os.getpid()
    pyquarry.makedirs(mem + '/logs')
    with pyquarry.open(mem + '/logs/today.txt', 'w') as f:
        for i in range(5):
            f.write('event %d\n' % i)
    print 'lines under /mem/:', [line.strip() for line in pyquarry.open(mem + '/logs/today.txt')]
    print 'copied to the local disk:', pyquarry.copy(mem + '/logs/today.txt', local), 'bytes'
    print 'stat:', pyquarry.stat(local + '/today.txt')
    for top, dirs, files in pyquarry.walk(mem):
        print 'walk:', top, dirs, files
    print 'glob:', pyquarry.glob(local + '/*.txt')
    try:
        pyquarry.open(mem + '/missing.txt')
    except pyquarry.FileError as e:
        print 'a missing file raises FileError (an IOError): %s (code %d, errno %s)' % (e, e.code, e.errno)
    try:
        pyquarry.remove(mem + '/logs')
    except OSError as e:
        print 'and a name operation PathError (an OSError): %s' % e
    print 'removed', pyquarry.rmtree(mem), 'and', pyquarry.rmtree(local), '(files, directories)'


def main():
    proxies()
    streams()
    pythonic()
    print
    print 'tour done'


if __name__ == '__main__':
    main()
