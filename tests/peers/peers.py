#!/usr/bin/env python3
"""Live Z39.50 peers for tests, on loopback ports: the test target of the
toolkit package (yaz-ztest) and a Zebra server with the MARC21 and GILS
example records indexed (databases "marc" and "gils").

    peers.py start STATE_FILE   start both, write their ports as JSON, exit
    peers.py stop STATE_FILE    stop the peers named in STATE_FILE
"""

import contextlib
import gzip
import itertools
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

EXAMPLES = '/usr/share/doc/idzebra-2.0/examples'
MODULES = '/usr/lib/x86_64-linux-gnu/idzebra-2.0/modules'
TABLES = '/usr/share/idzebra-2.0/tab'

ZEBRA_CFG = """profilePath: .:%(tab)s
modulePath: %(modules)s
attset: bib1.att
attset: gils.att
attset: explain.att
recordType.grs: grs.sgml
recordType.mrc: grs.marc.usmarc
isam: b
perm.anonymous: r
storedata: 1
register: %(dir)s/register:50M
shadow: %(dir)s/shadow:20M
lockDir: %(dir)s
"""


class PeerError(Exception):
    pass


def free_port():
    with socket.socket() as s:
        s.bind(('127.0.0.1', 0))
        return s.getsockname()[1]


def wait_listening(port, proc, timeout=20.0):
    deadline = time.time() + timeout
    while time.time() < deadline:
        if proc.poll() is not None:
            raise PeerError('peer exited with status %d' % proc.returncode)
        try:
            with socket.create_connection(('127.0.0.1', port), timeout=0.5):
                return
        except OSError:
            time.sleep(0.1)
    raise PeerError('peer not listening on port %d' % port)


def launch(name, command, cwd, workdir):
    """Starts a peer listening on a free loopback port; (process, port)."""
    port = free_port()
    logfile = os.path.join(workdir, name + '.log')
    proc = subprocess.Popen(command + ['-l', logfile, 'tcp:127.0.0.1:%d' % port], cwd=cwd,
                            stdout=open(logfile, 'a'), stderr=subprocess.STDOUT)
    wait_listening(port, proc)
    return proc, port


def start_ztest(workdir):
    # yaz-ztest answers a Scan from the word list "dummy-words" in its working
    # directory; without it its session process exits on the scanRequest.
    with open(os.path.join(workdir, 'dummy-words'), 'w') as f:
        f.writelines(''.join(word) + '\n' for word in itertools.product('abcdefg', repeat=3))
    return launch('ztest', ['yaz-ztest'], workdir, workdir)


def prepare_zebra(workdir):
    zdir = os.path.join(workdir, 'zebra')
    for sub in ('register', 'shadow', 'marc', 'gils'):
        os.makedirs(os.path.join(zdir, sub), exist_ok=True)
    with gzip.open(os.path.join(EXAMPLES, 'marc21', 'sample-marc.gz')) as src, \
            open(os.path.join(zdir, 'marc', 'sample.mrc'), 'wb') as dst:
        shutil.copyfileobj(src, dst)
    records = os.path.join(EXAMPLES, 'gils', 'records')
    for name in os.listdir(records):
        shutil.copy(os.path.join(records, name), os.path.join(zdir, 'gils', name))
    cfg = os.path.join(zdir, 'zebra.cfg')
    with open(cfg, 'w') as f:
        f.write(ZEBRA_CFG % {'tab': TABLES, 'modules': MODULES, 'dir': zdir})
    for arguments in (['-d', 'marc', 'update', 'marc'], ['-d', 'gils', 'update', 'gils'], ['commit']):
        subprocess.run(['zebraidx-2.0', '-c', cfg] + arguments, cwd=zdir, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return zdir, cfg


def start_zebra(workdir):
    zdir, cfg = prepare_zebra(workdir)
    return launch('zebra', ['zebrasrv-2.0', '-c', cfg], zdir, workdir)


def start_all(names=('ztest', 'zebra')):
    """Starts the peers named (tools/run-example.sh: Zebra alone); returns
    the state: their ports, their pids and the work dir."""
    workdir = tempfile.mkdtemp(prefix='kestra-peers-')
    state = {'dir': workdir, 'pids': []}
    try:
        for name in names:
            proc, port = (start_ztest if name == 'ztest' else start_zebra)(workdir)
            state['pids'].append(proc.pid)
            state[name] = ['127.0.0.1', port]
    except Exception:
        stop_all(state)
        raise
    return state


def stop_all(state):
    for pid in state['pids']:
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, signal.SIGTERM)
    for pid in state['pids']:
        for _ in range(50):
            try:
                os.kill(pid, 0)
            except ProcessLookupError:
                break
            with contextlib.suppress(ChildProcessError):
                os.waitpid(pid, os.WNOHANG)
            time.sleep(0.05)
    shutil.rmtree(state['dir'], ignore_errors=True)


def main(argv, start=start_all, usage=__doc__):
    if len(argv) != 2 or argv[0] not in ('start', 'stop'):
        sys.stderr.write(usage)
        return 2
    if argv[0] == 'start':
        state = start()
        with open(argv[1], 'w') as f:
            json.dump(state, f)
        return 0  # the peers outlive this process; stop them with "stop"
    with open(argv[1]) as f:
        stop_all(json.load(f))
    os.remove(argv[1])
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
