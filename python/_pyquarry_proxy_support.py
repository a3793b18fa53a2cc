"""Support of the generated proxy module file_base_pyquarry (see
tools/proxygen/proxygen.py): each helper turns one row of the method table
into a class member, a free function or a class registration. Written by
hand; the generated module imports it.

An instance of a proxy class holds the pointer text of its object in
`this`; `thisown` says whether it owns the object (then the instance
destroys it with `delete_<Class>` when it goes, once). Calling a class calls
`new_<Class>` with the arguments given. Results that are objects of a
wrapped class come back as instances of its class.

Functions the extension of this build does not have become MISSING, which
finish() and finish_module() drop; missing() lists them.
"""
import types as _types

import _file_base_pyquarry as _m

MISSING = object()
_missing_names = []


def _lookup(flat):
    fn = getattr(_m, flat, None)
    if fn is None:
        _missing_names.append(flat)
        return MISSING
    return fn


def method(flat):
    """A method: the instance is the function's first argument."""
    fn = _lookup(flat)
    # An unbound method of `object` binds to any instance like a def, with
    # no Python frame between the call and the extension function.
    return fn if fn is MISSING else _types.MethodType(fn, None, object)


def static(flat):
    fn = _lookup(flat)
    return fn if fn is MISSING else staticmethod(fn)


class Either(object):
    """A function with a by-name form and a form on the object itself:
    through the class it is the plain function, through an instance the
    instance is passed first."""

    def __init__(self, fn):
        self.fn = fn

    def __get__(self, instance, owner):
        if instance is None:
            return self.fn
        return _types.MethodType(self.fn, instance, owner)


def either(flat):
    fn = _lookup(flat)
    return fn if fn is MISSING else Either(fn)


def comparison(flat):
    """A comparison operator; other kinds of operands give NotImplemented."""
    fn = _lookup(flat)
    if fn is MISSING:
        return fn

    def compare(self, other):
        if not isinstance(other, type(self)):
            return NotImplemented
        return bool(fn(self, other))
    compare.__name__ = flat
    compare.flat_name = flat
    return compare


def member(getter, setter):
    fget = _lookup(getter) if getter else None
    fset = _lookup(setter) if setter else None
    fget = None if fget is MISSING else fget
    fset = None if fset is MISSING else fset
    if fget is None and fset is None:
        return MISSING
    return property(fget, fset)


def constructor(flat):
    new = getattr(_m, flat, None)
    if new is None:
        _missing_names.append(flat)

    def __init__(self, *args):
        if new is None:
            raise NotImplementedError('%s: this build of _file_base_pyquarry has no %s'
                                      % (type(self).__name__, flat))
        made = new(*args)
        if made is None:
            raise ValueError('%s%r made no object' % (flat, args))
        this = getattr(made, 'this', made)
        own = getattr(made, 'thisown', 1)
        if made is not this:
            made.thisown = 0  # the new instance takes the object over
        self.this = this
        self.thisown = own
    if new is not None:
        __init__.flat_name = flat
    return __init__


def no_constructor():
    def __init__(self, *args):
        raise TypeError('%s objects come from the module\'s functions; they cannot be made directly'
                        % type(self).__name__)
    return __init__


def destructor(flat):
    if not hasattr(_m, flat):
        _missing_names.append(flat)

    def __del__(self):
        d = self.__dict__
        if d.get('thisown') and _m is not None:
            d['thisown'] = 0  # first, so the object is never destroyed twice
            delete = getattr(_m, flat, None)
            if delete is not None:
                delete(self)
    if hasattr(_m, flat):
        __del__.flat_name = flat
    return __del__


def free(flat):
    return _lookup(flat)


class Proxy(object):
    """Base of the proxy classes: `this` holds the pointer text, `thisown`
    tells whether the instance owns the object."""
    this = None
    thisown = 0

    def destroy(self):
        """Destroys the object now, owned or not (handles from File.Open are
        not owned by their proxy); the instance holds no object afterwards."""
        if getattr(type(self), '__del__', None) is None:
            raise TypeError('%s objects cannot be destroyed from Python' % type(self).__name__)
        if self.this is not None:
            self.thisown = 1
            self.__del__()
            self.this = None

    def __repr__(self):
        return '<%s.%s %s%s>' % (type(self).__module__, type(self).__name__, self.this,
                                 ' owned' if self.thisown else '')


def _result_class(cls):
    """What the extension calls with the pointer text of a result: makes an
    instance of `cls` around it without calling `new_<Class>`."""
    def __init__(self, this):
        self.__class__ = cls
        self.this = this
        self.thisown = 0
    return type(cls.__name__, (cls,), {'__init__': __init__, '__module__': cls.__module__})


def finish(cls):
    """Drops the functions this build lacks and registers the class."""
    for name, value in list(vars(cls).items()):
        if value is MISSING:
            delattr(cls, name)
    register = getattr(_m, cls.__name__ + '_swigregister', None)
    if register is None:
        _missing_names.append(cls.__name__ + '_swigregister')
    else:
        register(_result_class(cls))


def finish_module(g):
    """Drops the free functions this build lacks from the proxy module's
    namespace `g` and adds the extension's constants to it; class constants
    (`Attr_t_APPEND`) also become class attributes (`Attr_t.APPEND`)."""
    for name, value in list(g.items()):
        if value is MISSING:
            del g[name]
    for name, value in vars(_m).items():
        if name.startswith('__') or callable(value) or name == 'cvar':
            continue
        g.setdefault(name, value)
        head, sep, tail = name.partition('_')
        while sep:
            cls = g.get(head)
            if isinstance(cls, type) and issubclass(cls, Proxy) and tail not in vars(cls):
                setattr(cls, tail, value)
                break
            more, sep, tail = tail.partition('_')
            head = head + '_' + more


def missing():
    """The extension functions this build lacks, in table order."""
    return list(_missing_names)
