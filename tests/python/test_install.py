"""pip2 installs the package into a prefix and into a user base; the
installed modules import and work from there alone.

The extension comes from this build's CMake directory (PQ_BUILD_DIR), so
the test costs no compilation; setup.py drives that build as it would a
fresh one."""
import os
import shutil
import subprocess
import sys
import unittest

import pqtest

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))

CHECK = '\n'.join([
    'import sys, os',
    'import _file_base_pyquarry, _pyquarry_proxy_support, file_base_pyquarry, pyquarry',
    'for mod in (_file_base_pyquarry, _pyquarry_proxy_support, file_base_pyquarry, pyquarry):',
    '    assert mod.__file__.startswith(sys.argv[1]), mod.__file__',
    'with pyquarry.open("/mem/install-check", "w") as f:',
    '    f.write("installed\\n")',
    'print(pyquarry.read_file("/mem/install-check").strip())',
    'print(type(file_base_pyquarry.File.Open("/mem/install-check", "r")).__name__)',
    # A malformed root:// name is refused by the remote file system itself:
    # its object was installed beside the extension and loads.
    'try: pyquarry.stat("root://h:0//x")',
    'except pyquarry.QuarryError as e: assert e.code_name == "ERROR_INVALID_ARGUMENT", e',
])


class InstallTest(pqtest.TestCase):
    def setUp(self):
        self.tmp = pqtest.scratch_dir('install')
        self.addCleanup(shutil.rmtree, self.tmp, True)
        # A source tree of what setup.py reads itself; the CMake build keeps
        # pointing at the project's sources.
        self.src = os.path.join(self.tmp, 'src')
        os.mkdir(self.src)
        shutil.copy(os.path.join(ROOT, 'setup.py'), self.src)
        shutil.copytree(os.path.join(ROOT, 'python'), os.path.join(self.src, 'python'),
                        ignore=shutil.ignore_patterns('*.pyc'))

    def pip(self, *args, **kw):
        """pip2 install of the copied sources with this environment; returns whether it succeeded."""
        env = dict(os.environ, PQ_BUILD_DIR=pqtest.BUILD_DIR, PIP_NO_INDEX='1', PIP_DISABLE_PIP_VERSION_CHECK='1', **kw)
        env.pop('PYTHONPATH', None)
        p = subprocess.Popen([sys.executable, '-m', 'pip', 'install', '-q'] + list(args) + [self.src],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=env, cwd=self.tmp)
        self.output = p.communicate()[0]
        return p.returncode == 0

    def test_prefix_and_user_installs_import_from_there_alone(self):
        user_base = os.path.join(self.tmp, 'user')
        for args, env, base in ((('--prefix', os.path.join(self.tmp, 'prefix')), {}, 'prefix'),
                                (('--user',), {'PYTHONUSERBASE': user_base}, 'user')):
            self.assertTrue(self.pip(*args, **env), self.output)
            site_dir = os.path.join(self.tmp, base, 'lib', 'python2.7', 'site-packages')
            env = dict(os.environ, **(env or {'PYTHONPATH': site_dir}))
            if base == 'user':
                env.pop('PYTHONPATH', None)
            p = subprocess.Popen([sys.executable, '-c', CHECK, site_dir], stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, env=env, cwd=self.tmp)
            out, err = p.communicate()
            self.assertEqual((p.returncode, out.split()), (0, ['installed', 'File']), err)

if __name__ == '__main__':
    if not os.path.exists(os.path.join(ROOT, 'setup.py')):
        raise unittest.SkipTest('no setup.py')
    pqtest.main()
