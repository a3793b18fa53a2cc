#!/usr/bin/env python2
"""Writes the proxy module file_base_pyquarry.py from the method table.

    tools/proxygen/proxygen.py [--check] [NAMES [OUTPUT]]

NAMES is the canonical list of the extension's functions by class, in table
order (default tests/data/method_names.txt); OUTPUT defaults to
python/file_base_pyquarry.py. With --check nothing is written: the exit
status tells whether OUTPUT is what the table gives (a test runs this).

Every name becomes one line of its class: constructors and destructors,
`<Class>_<member>_get`/`_set` pairs as properties, static functions as
static methods (the table cannot tell them apart, so kinds.txt beside this
script lists the static ones), everything else as a method whose first
argument is the instance.
"""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
PROLOGUE = os.path.join(HERE, 'prologue.py')
KINDS = os.path.join(HERE, 'kinds.txt')

# Python base classes: a proxy of a subclass is accepted where its base is.
BASES = {
    'AsyncIOWatcher': 'AsyncIO', 'AsyncIOForSS': 'AsyncIO',
    'Sha1Checksum': 'Sha1', 'RecordReaderScript': 'RecordReader',
    'LogReader': 'LogBase', 'LogWriter': 'LogBase', 'LogReaderScript': 'LogReader',
}
COMPARISONS = ('__eq__', '__ne__', '__lt__', '__le__', '__gt__', '__ge__')


def read_table(path):
    """Returns [(class name or None, [names])] in table order."""
    blocks = []
    with open(path) as f:
        for line in f:
            line = line.strip()
            if not line:
                continue
            if line.startswith('# '):
                words = line[2:].split()
                if words[0] == '(free)':
                    blocks.append((None, []))
                elif len(words) == 2 and words[1].isdigit():
                    blocks.append((words[0], []))
                continue
            if not blocks:
                raise ValueError('%s: %r stands before any block' % (path, line))
            blocks[-1][1].append(line)
    return blocks


def read_kinds(path):
    """Returns {flat name: 'static' | 'either'} from kinds.txt."""
    kinds = {}
    with open(path) as f:
        for line in f:
            words = line.split('#', 1)[0].split()
            if not words:
                continue
            if words[0] not in ('static', 'either'):
                raise ValueError('%s: unknown kind %r' % (path, words[0]))
            for name in words[1:]:
                kinds[name] = words[0]
    return kinds


def class_lines(cls, names, kinds):
    prefix = cls + '_'
    members = set(n[len(prefix):-4] for n in names
                  if n.startswith(prefix) and (n.endswith('_get') or n.endswith('_set')))
    has_new = 'new_' + cls in names
    lines = ['class %s(%s):' % (cls, BASES.get(cls, '_Proxy')),
             '    __init__ = %s' % ("_constructor('new_%s')" % cls if has_new else "_no_constructor()")]
    done = set()
    for name in names:
        if name == 'new_' + cls or name == prefix + 'swigregister':
            continue
        if name == 'delete_' + cls:
            lines.append("    __del__ = _destructor('%s')" % name)
            continue
        if not name.startswith(prefix):
            raise ValueError('%s does not belong to class %s' % (name, cls))
        attr = name[len(prefix):]
        member = attr[:-4]
        if attr[-4:] in ('_get', '_set') and member in members:
            if member not in done:
                done.add(member)
                getter = "'%s_get'" % (prefix + member) if prefix + member + '_get' in names else 'None'
                setter = "'%s_set'" % (prefix + member) if prefix + member + '_set' in names else 'None'
                lines.append('    %s = _member(%s, %s)' % (member, getter, setter))
            continue
        kind = kinds.pop(name, None)
        if kind == 'static':
            lines.append("    %s = _static('%s')" % (attr, name))
        elif kind == 'either':
            lines.append("    %s = _either('%s')" % (attr, name))
        elif attr in COMPARISONS:
            lines.append("    %s = _comparison('%s')" % (attr, name))
        else:
            lines.append("    %s = _method('%s')" % (attr, name))
    lines.append('_finish(%s)' % cls)
    return lines


def generate(names_path, kinds_path=KINDS):
    kinds = read_kinds(kinds_path)
    blocks = read_table(names_path)
    out = [open(PROLOGUE).read().rstrip('\n'), '']
    for cls, names in blocks:
        out.append('')
        if cls is None:
            for name in names:
                out.append("%s = _free('%s')" % (name, name))
        else:
            out.extend(class_lines(cls, names, kinds))
    out.append('')
    out.append('_finish_module()')
    if kinds:
        raise ValueError('kinds.txt names functions the table does not have: %s' % ' '.join(sorted(kinds)))
    return '\n'.join(out) + '\n'


def main(argv):
    check = '--check' in argv
    args = [a for a in argv if a != '--check']
    names = args[0] if args else os.path.join(ROOT, 'tests', 'data', 'method_names.txt')
    output = args[1] if len(args) > 1 else os.path.join(ROOT, 'python', 'file_base_pyquarry.py')
    text = generate(names)
    if check:
        current = open(output).read() if os.path.exists(output) else ''
        if current != text:
            sys.stderr.write('proxygen: %s is not what the table gives; run tools/proxygen/proxygen.py\n' % output)
            return 1
        return 0
    with open(output, 'w') as f:
        f.write(text)
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
