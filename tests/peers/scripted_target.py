#!/usr/bin/env python3
"""A scripted Z39.50 test target on a loopback port, and a port that
refuses connections.

    scripted_target.py start STATE_FILE   start them, write their ports as JSON, exit
    scripted_target.py stop STATE_FILE    stop them

A client's first two lines, "MODE SEGMENT DELAY_MS" and "HEX", have the
target send the octets of HEX back in segments of SEGMENT octets, DELAY_MS
apart, then keep the connection until the client closes it (MODE "keep")
or close it (MODE "close").
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
        # "close" takes what the client sent meanwhile first: unread octets
        # would turn the close into a reset.
        conn.settimeout(None if mode == 'keep' else 0.3)
        try:
            while conn.recv(65536):
                pass
        except socket.timeout:
            pass


def serve(port):
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(('127.0.0.1', port))
    listener.listen(128)
    while True:
        conn, _ = listener.accept()
        threading.Thread(target=play, args=(conn,), daemon=True).start()


def start():
    workdir = tempfile.mkdtemp(prefix='kestra-scripted-')
    port = peers.free_port()
    target = subprocess.Popen([sys.executable, os.path.abspath(__file__), 'serve', str(port)],
                              stdout=open(os.path.join(workdir, 'scripted.log'), 'w'), stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, start_new_session=True)
    state = {'dir': workdir, 'pids': [target.pid]}
    try:
        peers.wait_listening(port, target)
    except peers.PeerError:
        peers.stop_all(state)
        raise
    # The refused port: a free one that nothing listens on.
    return dict(state, scripted=['127.0.0.1', port], refused=['127.0.0.1', peers.free_port()])


if __name__ == '__main__':
    if sys.argv[1:2] == ['serve']:
        serve(int(sys.argv[2]))
    else:
        sys.exit(peers.main(sys.argv[1:], start, __doc__))
