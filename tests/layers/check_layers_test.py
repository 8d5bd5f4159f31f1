#!/usr/bin/env python3
"""tools/check-layers.py on small made-up trees: each case writes its files
into a fresh folder and expects the check's exit status and the cycles it
names on standard error."""

import os
import subprocess
import sys
import tempfile

CHECK = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'tools', 'check-layers.py')

# (name, {path: text}, expected exit status, texts standard error must hold)
CASES = [
    ('one direction passes',
     {'low/a.h': '', 'low/a.cpp': '#include "low/a.h"\n',
      'high/b.cpp': '#include "low/a.h"\n#include <vector>\n#include "generated.h"\n'},
     0, []),
    ('two headers that include each other',
     {'low/a.h': '#include "low/b.h"\n', 'low/b.h': '#include "low/a.h"\n'},
     1, ['include cycle: low/a, low/b']),
    ('two sources that use each other\'s headers',
     {'low/a.h': '', 'low/b.h': '', 'low/a.cpp': '#include "low/b.h"\n', 'low/b.cpp': '#include "low/a.h"\n'},
     1, ['include cycle: low/a, low/b']),
    ('folders that use each other through different files',
     {'low/a.h': '', 'low/c.h': '#include "high/d.h"\n', 'high/b.h': '#include "low/a.h"\n', 'high/d.h': ''},
     1, ['folder cycle: high, low', 'high -> low', 'low -> high']),
    ('an include beside the including file',
     {'low/a.h': '#include "b.h"\n', 'low/b.h': '#include "a.h"\n'},
     1, ['include cycle: low/a, low/b']),
    ('each subfolder a folder of its own',
     {'tools/x/a.h': '#include "tools/y/b.h"\n', 'tools/y/b.h': '', 'tools/y/c.h': '#include "tools/x/d.h"\n',
      'tools/x/d.h': ''},
     1, ['folder cycle: tools/x, tools/y']),
    ('libraries that link each other',
     {'low/CMakeLists.txt': 'target_link_libraries(low PUBLIC high ${SYSTEM_LIBS})\n',
      'high/CMakeLists.txt': 'target_link_libraries(high\n  PRIVATE low other)\n'},
     1, ['library cycle: high, low']),
    ('the build folder is left out',
     {'build/a.h': '#include "build/b.h"\n', 'build/b.h': '#include "build/a.h"\n'},
     0, []),
]


def run_case(files):
    with tempfile.TemporaryDirectory() as root:
        for path, text in files.items():
            full = os.path.join(root, path)
            os.makedirs(os.path.dirname(full), exist_ok=True)
            with open(full, 'w', encoding='utf-8') as f:
                f.write(text)
        done = subprocess.run([sys.executable, CHECK, root], capture_output=True, text=True)
        return done.returncode, done.stderr


def main():
    failures = 0
    for name, files, status, texts in CASES:
        got_status, stderr = run_case(files)
        missing = [t for t in texts if t not in stderr]
        if got_status != status or missing:
            failures += 1
            print('FAIL %s: status %d (expected %d), missing %s\n%s' % (name, got_status, status, missing, stderr))
        else:
            print('ok   %s' % name)
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
