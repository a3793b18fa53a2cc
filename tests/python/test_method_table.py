"""The module's functions against the product's canonical list of names."""
import os
import types
import unittest

import pqtest
from pqtest import m

NAMES_FILE = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'data', 'method_names.txt')
EXPECTED_COUNT = 907


def canonical_names():
    with open(NAMES_FILE) as f:
        return [line.strip() for line in f if line.strip() and not line.startswith('#')]


def module_functions():
    return set(name for name, value in vars(m).items()
               if isinstance(value, types.BuiltinFunctionType))


class MethodTableTest(pqtest.TestCase):
    def test_canonical_list_is_well_formed(self):
        names = canonical_names()
        self.assertEqual(len(names), EXPECTED_COUNT)
        self.assertEqual(len(set(names)), len(names), 'duplicate names in the list')

    def test_every_function_is_a_canonical_name(self):
        unknown = sorted(module_functions() - set(canonical_names()))
        self.assertEqual(unknown, [])

    def test_all_functions_exist(self):
        missing = sorted(set(canonical_names()) - module_functions())
        if missing:
            print('\n%d of %d functions still missing: %s'
                  % (len(missing), EXPECTED_COUNT, ' '.join(missing)))
            raise unittest.SkipTest('the table is not complete yet')
        self.assertEqual(module_functions(), set(canonical_names()))


if __name__ == '__main__':
    pqtest.main()
