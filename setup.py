"""Installs _file_base_pyquarry, the proxy module file_base_pyquarry (with
its support module _pyquarry_proxy_support) and the pyquarry package into
the running Python 2 interpreter:

    pip2 install .                  # into the interpreter's site-packages
    pip2 install --user .           # into the user's site-packages
    pip2 install --prefix=DIR .     # under DIR (lib/python2.7/site-packages)

The extension is built by the project's CMake build (only what the module
needs; no tests). Missing Debian packages are installed first with
`tools/pq deps` (set PQ_NO_DEPS=1 to skip that). PQ_BUILD_DIR=DIR builds in
an existing CMake build directory instead of a fresh one, e.g. the one of
`tools/pq build`, so that nothing is compiled twice.
"""
import os
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


class CMakeBuild(build_ext):
    """Builds the extension through CMake and copies it where setuptools
    expects it."""

    def build_extension(self, ext):
        build_dir = os.environ.get('PQ_BUILD_DIR') or os.path.join(os.path.abspath(self.build_temp), 'cmake')
        if not os.environ.get('PQ_NO_DEPS') and not os.environ.get('PQ_BUILD_DIR'):
            self._run([os.path.join(ROOT, 'tools', 'pq'), 'deps'])
        if not os.path.exists(os.path.join(build_dir, 'CMakeCache.txt')):
            self._run(['cmake', '-S', ROOT, '-B', build_dir, '-DPYTHON2_EXECUTABLE=' + sys.executable,
                       '-DCMAKE_BUILD_TYPE=RelWithDebInfo', '-DPQ_WITH_TESTS=OFF'])
        jobs = os.environ.get('PQ_JOBS', '2')
        self._run(['cmake', '--build', build_dir, '--target', ext.name, '-j' + jobs])
        built = os.path.join(build_dir, 'python', ext.name + '.so')
        target = self.get_ext_fullpath(ext.name)
        if not os.path.isdir(os.path.dirname(target)):
            os.makedirs(os.path.dirname(target))
        shutil.copyfile(built, target)

    def _run(self, command):
        self.announce(' '.join(command), level=2)
        if subprocess.call(command) != 0:
            raise SystemExit('setup.py: %s failed' % ' '.join(command))


setup(
    name='pyquarry',
    version='0.1.0',
    description='File access for Python 2: the _file_base_pyquarry module, its proxy classes '
                'and the Pythonic pyquarry layer',
    package_dir={'': 'python'},
    py_modules=['file_base_pyquarry', '_pyquarry_proxy_support'],
    packages=['pyquarry'],
    ext_modules=[Extension('_file_base_pyquarry', sources=[])],
    cmdclass={'build_ext': CMakeBuild},
    zip_safe=False,
)
