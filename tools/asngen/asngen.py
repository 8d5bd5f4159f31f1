#!/usr/bin/env python3
"""asngen: generates code from our ASN.1 modules.

    asngen.py --out DIR [--family codec|dbv] MODULE_FILE...

Each output family reads the same checked model (asnmodel) and writes its
files into DIR; a file is rewritten only when its text changes, so that an
unchanged module does not cause a rebuild."""

import argparse
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import asnmodel  # noqa: E402
import asnparse  # noqa: E402
import emit_codec  # noqa: E402
import emit_convert  # noqa: E402
import emit_dbv  # noqa: E402
import registrations  # noqa: E402


def codec_family(model, files):
    outputs = emit_codec.emit(model, files)
    outputs.update(registrations.emit(model, files))
    return outputs


def dbv_family(model, files):
    dbv = emit_dbv.DbvModel(model)
    outputs = emit_dbv.emit(model, files, dbv)
    outputs.update(emit_convert.emit(dbv))
    return outputs


FAMILIES = {'codec': codec_family, 'dbv': dbv_family}


def generate(paths, family):
    files = [(path, asnparse.parse_file(path)) for path in paths]
    model = asnmodel.Model([m for _, modules in files for m in modules])
    return FAMILIES[family](model, files)


def write_outputs(outdir, outputs):
    os.makedirs(outdir, exist_ok=True)
    for name, text in sorted(outputs.items()):
        path = os.path.join(outdir, name)
        if os.path.exists(path):
            with open(path, encoding='utf-8') as f:
                if f.read() == text:
                    continue
        with open(path, 'w', encoding='utf-8') as f:
            f.write(text)


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('--out', required=True)
    parser.add_argument('--family', choices=sorted(FAMILIES), default='codec')
    parser.add_argument('modules', nargs='*')
    args = parser.parse_args(argv)
    try:
        write_outputs(args.out, generate(args.modules, args.family))
    except asnparse.AsnError as e:
        sys.stderr.write('asngen: %s\n' % e)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
