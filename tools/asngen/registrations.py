"""The start-up registration files (oid_overwrites_<group>.cpp): each group
makes its identifiers and installs its types into the open-type registry.
Which identifier selects which generated type is fixed here; a type whose
module is not (yet) among the inputs is left out with a warning.

Two types go into the integer-keyed registry instead: the ILL extension
items that an ILL APDU carries as `item ANY DEFINED BY identifier` (an
INTEGER) in its extensions, keyed by that identifier."""

import sys

from asnmodel import module_file_stem

FATAL = 'Fatal event: ASN_MakeOid failed for oid_overwrites_%s.c\\n'

# (group, failure message, [(identifier, module name contains, type name)]),
# in the order in which the groups run at start-up.
GROUPS = [
    ('cipspecific', FATAL, [('1.2.840.10003.2.1000.99.1', 'CIP', 'CIPSpecificInfo')]),
    ('ciporder', FATAL, [('1.2.840.10003.9.4.1000.70.1', 'COrder', 'COrder'),
                         ('1.2.840.10003.9.1000.99.1', 'CIP', 'CipBItemOrder')]),
    ('zsqlrs', FATAL, [('1.2.840.10003.5.111', 'SQL', 'SQLResult')]),
    ('charset', FATAL, [('1.2.840.10003.10.2', 'charSetandLanguage', 'CharSetandLanguageNegotiation'),
                        ('1.0.10163.10.2', 'charSetandLanguage', 'CharSetandLanguageNegotiation')]),
    ('sil', 'ASN_MakeOid failed for oid_overwrites_%s.c\\n',
     [('1.2.840.10003.10.1', 'searchResult-1', 'SearchInfoReport'),
      ('1.0.10163.10.1', 'searchResult-1', 'SearchInfoReport')]),
    ('ill', FATAL, [('1.2.10161.2.1', 'ILL', 'ILL-APDU')]),
    ('iso', FATAL, [('1.0.10163.5.100', 'explain', 'Explain-Record'),
                    ('1.0.10163.5.101', 'SUTRS', 'SutrsRecord'),
                    ('1.0.10163.5.102', 'opac', 'OPACRecord'),
                    ('1.0.10163.5.103', 'summary', 'BriefBib'),
                    ('1.0.10163.5.105', 'generic', 'GenericRecord'),
                    ('1.0.10163.5.106', 'TaskPackage', 'TaskPackage'),
                    ('1.0.10163.7.1', 'Resource-1', 'ResourceReport'),
                    ('1.0.10163.7.2', 'Resource-2', 'ResourceReport'),
                    ('1.0.10163.8.1', 'prompt-1', 'PromptObject'),
                    ('1.0.10163.9.4', 'ItemOrder', 'ItemOrder'),
                    ('1.0.10163.9.5', 'Update', 'Update'),
                    ('1.0.10163.9.6', 'ExportSpecification', 'ExportSpecification'),
                    ('1.0.10163.9.7', 'ExportInvocation', 'ExportInvocation')]),
    ('g', FATAL, [('1.2.840.10003.5.105', 'generic', 'GenericRecord')]),
    ('f', FATAL, [('1.2.840.10003.5.100', 'explain', 'Explain-Record')]),
    ('e', FATAL, [('1.2.840.10003.5.101', 'SUTRS', 'SutrsRecord'),
                  ('1.2.840.10003.5.102', 'opac', 'OPACRecord'),
                  ('1.2.840.10003.5.103', 'summary', 'BriefBib')]),
    ('d', FATAL, [('1.2.840.10003.5.106', 'TaskPackage', 'TaskPackage'),
                  ('1.2.840.10003.9.4', 'ItemOrder', 'ItemOrder'),
                  ('1.2.840.10003.9.5', 'Update', 'Update'),
                  ('1.2.840.10003.9.6', 'ExportSpecification', 'ExportSpecification'),
                  ('1.2.840.10003.9.7', 'ExportInvocation', 'ExportInvocation')]),
    ('c', FATAL, [('1.2.840.10003.7.1', 'Resource-1', 'ResourceReport'),
                  ('1.2.840.10003.7.2', 'Resource-2', 'ResourceReport')]),
    ('b', FATAL, [('1.2.840.10003.9.1000.70.1', 'Print', 'Print'),
                  ('1.2.840.10003.9.1000.70.2', 'Alert', 'Alert')]),
    ('a', FATAL, [('1.2.840.10003.8.1', 'prompt-1', 'PromptObject')]),
]

# group -> [(integer key, module name contains, type name)]
INTEGER_KEYED = {
    'ill': [(799, 'ILL', 'Supplemental-Item-Description'),
            (800, 'ILL', 'Client-Id')],
}


def find_type(model, module_hint, type_name):
    for mname in sorted(model.modules):
        if module_hint.lower() in mname.lower() and (mname, type_name) in model.named:
            return model.named[(mname, type_name)]
    return None


def group_types(model, group, entries):
    """(identifier text or integer key, NamedType) of one group."""
    found = []
    for key, hint, type_name in entries + INTEGER_KEYED.get(group, []):
        nt = find_type(model, hint, type_name)
        if nt is None:
            sys.stderr.write('asngen: no type %s in a module named like %s; %s not registered\n'
                             % (type_name, hint, key))
        else:
            found.append((key, nt))
    return found


def registered_types(model):
    """Every (key, NamedType) that the start-up registration installs."""
    return [pair for group, _, entries in GROUPS for pair in group_types(model, group, entries)]


def any_routines(i, n):
    """Enc<i>, Dec<i>, Free<i> and Print<i>: the whole-value routines of
    the codec structure n in the untyped form of a registry entry."""
    return [
        'AsnLen Enc%d(ASN_Buffer *b, void *v) { return BEnc%s(b, static_cast<%s *>(v)); }' % (i, n, n),
        'void Dec%d(ASN_Buffer *b, void *v, AsnLen *len) { BDec%s(b, static_cast<%s *>(v), len); }' % (i, n, n),
        'void Free%d(void *v) { Free%s(static_cast<%s *>(v)); }' % (i, n, n),
        'void Print%d(FILE *f, void *v, unsigned short indent) { Print%s(f, static_cast<%s *>(v), indent); }'
        % (i, n, n)]


def group_file(model, stems, group, message, entries, first_id):
    found = group_types(model, group, entries)
    headers = sorted({stems[nt.module.name] for _, nt in found})
    out = ['// Generated by asngen; do not edit.', '#include "asn/asn_registry.h"']
    out += ['#include "%s.h"' % h for h in headers]
    out += ['', 'namespace {', '']
    rows = []
    for i, (key, nt) in enumerate(found):
        n = nt.cname
        out += any_routines(i, n) + ['']
        oid, int_key = ('nullptr', key) if isinstance(key, int) else ('"%s"' % key, 0)
        rows.append('    {%s, %d, %d, sizeof(%s), Enc%d, Dec%d, Free%d, Print%d},'
                    % (oid, int_key, first_id + i, n, i, i, i, i))
    if rows:
        out += ['const ASN_RegisteredType kTypes[] = {'] + rows + ['};', '']
    out += ['} // namespace', '', 'extern "C" void OidOverwrites_%s(void)' % group, '{']
    table = 'kTypes, sizeof kTypes / sizeof kTypes[0]' if rows else 'nullptr, 0'
    out += ['    ASN_RegisterTypes(%s, "%s");' % (table, message % group), '}', '']
    return '\n'.join(out), len(found)


def emit(model, files):
    stems = {m.name: module_file_stem(path) for path, modules in files for m in modules}
    outputs = {}
    next_id = 1
    for group, message, entries in GROUPS:
        text, used = group_file(model, stems, group, message, entries, next_id)
        next_id += used
        outputs['oid_overwrites_%s.cpp' % group] = text
    return outputs
