#!/usr/bin/env python3
"""A scripted Z39.50 test target on a loopback port, for the association
layer's tests, with a yaz-ztest beside it and a port that refuses
connections.

    scripted_target.py start STATE_FILE   start them, write the state, exit
    scripted_target.py stop STATE_FILE    stop them

STATE_FILE holds one "name port" line each for "scripted", "refused" and,
when yaz-ztest is installed, "ztest".

The scripted target is told what to do by the first two lines a client
sends:

    MODE SEGMENT DELAY_MS
    HEX

It then sends the octets of HEX back in segments of SEGMENT octets, with
DELAY_MS milliseconds between them (no delay aggregation), and afterwards
keeps the connection open until the client closes it (MODE "keep") or
closes it at once (MODE "close"). A test thus writes in full what the
target sends: PDUs split over many segments, two PDUs in one segment, a
PDU cut off by the close, silence, or an absurd length.
"""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import peers  # noqa: E402  (the yaz-ztest starter and the shared helpers)


def read_script(conn):
    data = b''
    while data.count(b'\n') < 2:
        chunk = conn.recv(65536)
        if not chunk:
            return None
        data += chunk
    head, octets = data.split(b'\n')[:2]
    mode, segment, delay = head.decode().split()
    return mode, max(1, int(segment)), int(delay) / 1000.0, bytes.fromhex(octets.decode())


def play(conn):
    with conn:
        script = read_script(conn)
        if script is None:
            return
        mode, segment, delay, octets = script
        conn.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for start in range(0, len(octets), segment):
            conn.sendall(octets[start:start + segment])
            if delay and start + segment < len(octets):
                time.sleep(delay)
        if mode == 'keep':
            while conn.recv(65536):
                pass


def serve(port_file):
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(('127.0.0.1', 0))
    listener.listen(128)
    # Bound and never listening: connections to it are refused.
    refusing = socket.socket()
    refusing.bind(('127.0.0.1', 0))
    with open(port_file + '.tmp', 'w') as f:
        f.write('%d %d\n' % (listener.getsockname()[1], refusing.getsockname()[1]))
    os.rename(port_file + '.tmp', port_file)
    while True:
        conn, _ = listener.accept()
        threading.Thread(target=play, args=(conn,), daemon=True).start()


def start(state_file):
    workdir = tempfile.mkdtemp(prefix='kestra-scripted-')
    port_file = os.path.join(workdir, 'ports')
    log = open(os.path.join(workdir, 'scripted.log'), 'w')
    target = subprocess.Popen([sys.executable, os.path.abspath(__file__), 'serve', port_file],
                              stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                              start_new_session=True)
    state = {'dir': workdir, 'pids': [target.pid]}
    deadline = time.time() + 20
    while not os.path.exists(port_file):
        if time.time() > deadline or target.poll() is not None:
            peers.stop_all(state)
            raise peers.PeerError('scripted target did not start')
        time.sleep(0.05)
    with open(port_file) as f:
        scripted, refused = f.read().split()
    lines = ['scripted %s' % scripted, 'refused %s' % refused]
    if shutil.which('yaz-ztest'):
        ztest, ztest_port = peers.start_ztest(workdir)
        state['pids'].append(ztest.pid)
        lines.append('ztest %d' % ztest_port)
    with open(state_file, 'w') as f:
        f.write('\n'.join(lines) + '\n')
    with open(state_file + '.json', 'w') as f:
        json.dump(state, f)


def stop(state_file):
    with open(state_file + '.json') as f:
        peers.stop_all(json.load(f))
    for path in (state_file, state_file + '.json'):
        os.remove(path)


def main(argv):
    if len(argv) != 2 or argv[0] not in ('start', 'stop', 'serve'):
        sys.stderr.write(__doc__)
        return 2
    {'start': start, 'stop': stop, 'serve': serve}[argv[0]](argv[1])
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
