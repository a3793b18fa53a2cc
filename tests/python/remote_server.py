"""XRootD servers for the Python tests: tools/xrootd-cluster on loopback
ports, watching this process, stopped by pid when the tests end (or by
itself when this process dies in any other way)."""
import atexit
import os
import signal
import subprocess

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'tools', 'xrootd-cluster')


class Server(object):
    def __init__(self):
        args = ['bash', SCRIPT, '--watch', str(os.getpid())]
        # The servers are not ours: no sanitizer runtime preloaded into them.
        env = dict(os.environ)
        env.pop('LD_PRELOAD', None)
        self.process = subprocess.Popen(args, stdout=subprocess.PIPE, env=env)
        atexit.register(self.stop)
        self.prefix = None
        for line in iter(self.process.stdout.readline, ''):
            words = line.split()
            if words == ['ready']:
                break
            if words and words[0].startswith('root://'):
                self.prefix = words[0]
        if self.prefix is None:
            self.stop()
            raise RuntimeError('tools/xrootd-cluster did not report a ready server')

    def stop(self):
        if self.process.poll() is None:
            os.kill(self.process.pid, signal.SIGTERM)
            self.process.wait()
