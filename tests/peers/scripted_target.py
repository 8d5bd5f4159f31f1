#!/usr/bin/env python3
"""A scripted Z39.50 test target on a loopback port, for the association
layer's tests, and a port that refuses connections.

    scripted_target.py start STATE_FILE   start them, write their ports as JSON, exit
    scripted_target.py stop STATE_FILE    stop them

A client's first two lines, "MODE SEGMENT DELAY_MS" and "HEX", tell the
target to send the octets of HEX back in segments of SEGMENT octets,
DELAY_MS milliseconds apart, and then to keep the connection open until
the client closes it (MODE "keep") or to close it at once (MODE "close").
"""

import os
import socket
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import peers  # noqa: E402  (the command line and the stopper)


def play(conn):
    with conn:
        data = b''
        while data.count(b'\n') < 2:
            chunk = conn.recv(65536)
            if not chunk:
                return
            data += chunk
        head, octets = data.split(b'\n')[:2]
        mode, segment, delay = head.decode().split()
        segment, delay, octets = max(1, int(segment)), int(delay) / 1000.0, bytes.fromhex(octets.decode())
        conn.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for start in range(0, len(octets), segment):
            conn.sendall(octets[start:start + segment])
            if delay and start + segment < len(octets):
                time.sleep(delay)
        while mode == 'keep' and conn.recv(65536):
            pass


def serve(port_file):
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(('127.0.0.1', 0))
    listener.listen(128)
    refusing = socket.socket()  # bound and never listening: connections are refused
    refusing.bind(('127.0.0.1', 0))
    with open(port_file + '.tmp', 'w') as f:
        f.write('%d %d\n' % (listener.getsockname()[1], refusing.getsockname()[1]))
    os.rename(port_file + '.tmp', port_file)
    while True:
        conn, _ = listener.accept()
        threading.Thread(target=play, args=(conn,), daemon=True).start()


def start():
    workdir = tempfile.mkdtemp(prefix='kestra-scripted-')
    port_file = os.path.join(workdir, 'ports')
    target = subprocess.Popen([sys.executable, os.path.abspath(__file__), 'serve', port_file],
                              stdout=open(os.path.join(workdir, 'scripted.log'), 'w'), stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, start_new_session=True)
    state = {'dir': workdir, 'pids': [target.pid]}
    deadline = time.time() + 20
    while not os.path.exists(port_file):
        if time.time() > deadline or target.poll() is not None:
            peers.stop_all(state)
            raise peers.PeerError('scripted target did not start')
        time.sleep(0.05)
    with open(port_file) as f:
        scripted, refused = f.read().split()
    return dict(state, scripted=['127.0.0.1', int(scripted)], refused=['127.0.0.1', int(refused)])


if __name__ == '__main__':
    if sys.argv[1:2] == ['serve']:
        serve(sys.argv[2])
    else:
        sys.exit(peers.main(sys.argv[1:], start, __doc__))
