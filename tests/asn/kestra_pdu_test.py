#!/usr/bin/env python3
"""kestra-pdu on real captured PDUs (printed, status 0) and on malformed
ones (refused, status 1, the abort code on standard error).

    kestra_pdu_test.py KESTRA_PDU FIXTURES_DIR [EMULATOR...]

EMULATOR is the command that runs KESTRA_PDU when it was built for another
system (wine for the Windows build).
"""

import os
import subprocess
import sys
import tempfile
import unittest

TOOL, FIXTURES = sys.argv[1:3] if len(sys.argv) >= 3 else (None, None)
EMULATOR = sys.argv[3:]

# Malformed APDUs and the abort code each must be refused with.
MALFORMED = [
    ('truncated length', b'\xb6\x82\x01', -15),
    ('integer of five octets', b'\xb7\x10\x97\x05\x00\x00\x00\x00\x01\x98\x01\x00\x99\x01\x01\x96\x01\xff', -7),
    ('unknown PDU', b'\xbf\x25\x00', -266),
    ('close without reason', b'\xbf\x30\x00', None),
    ('boolean of two octets', b'\xb6\x0d\x8d\x01\x00\x8e\x01\x01\x8f\x01\x00\x90\x02\xff\xff', -5),
]


def run(octets):
    with tempfile.NamedTemporaryFile(delete=False) as f:
        f.write(octets)
    try:
        return subprocess.run(EMULATOR + [TOOL, f.name], capture_output=True, text=True)
    finally:
        os.unlink(f.name)


class KestraPdu(unittest.TestCase):
    def test_prints_captured_pdus(self):
        names = sorted(n for n in os.listdir(FIXTURES) if n.endswith('.ber'))
        self.assertTrue(names)
        for name in names:
            with self.subTest(name), open(os.path.join(FIXTURES, name), 'rb') as f:
                result = run(f.read())
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertRegex(result.stdout, r'^\w+ \{ -- SEQUENCE --\n')

    def test_refuses_malformed_pdus_with_their_codes(self):
        for name, octets, code in MALFORMED:
            with self.subTest(name):
                result = run(octets)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stdout, '')
                if code is None:
                    self.assertRegex(result.stderr, r'abort code -\d{3,}\n$')
                else:
                    self.assertTrue(result.stderr.endswith('abort code %d\n' % code), result.stderr)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
