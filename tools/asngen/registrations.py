"""The start-up registration files (oid_overwrites_<group>.cpp): each group
makes its identifiers and installs its types into the open-type registry.
Which identifier selects which generated type is fixed here; a type whose
module is not (yet) among the inputs is left out with a warning.

Two types go into the integer-keyed registry instead: the ILL extension
items that an ILL APDU carries as `item ANY DEFINED BY identifier` (an
INTEGER) in its extensions, keyed by that identifier.

The identifiers are named here once, for all the code: oid_names.h gives
each as OID_<name> (dotted text), and oid_groups.cpp lists the groups in
their start-up order and the identifiers whose values are structures.

Run as a program, it prints the groups' names separated by semicolons (for
the build, which names the files made)."""

import sys

from asnmodel import module_file_stem

Z3950 = '1.2.840.10003.'
ISO = '1.0.10163.'

# (name, dotted text) of every identifier the code uses: attribute sets,
# record syntaxes and the types of the registration groups.
NAMED_OIDS = [
    ('ATTSET_BIB1', Z3950 + '3.1'),
    ('ATTSET_CIMI', Z3950 + '3.8'),
    ('ATTSET_CIP', Z3950 + '3.2000.99.1'),
    ('SYNTAX_UNIMARC', Z3950 + '5.1'),
    ('SYNTAX_USMARC', Z3950 + '5.10'),
    ('SYNTAX_UKMARC', Z3950 + '5.11'),
    ('SYNTAX_NORMARC', Z3950 + '5.12'),
    ('SYNTAX_LIBRISMARC', Z3950 + '5.13'),
    ('SYNTAX_DANMARC', Z3950 + '5.14'),
    ('SYNTAX_FINMARC', Z3950 + '5.15'),
    ('SYNTAX_CANMARC', Z3950 + '5.17'),
    ('SYNTAX_PICAMARC', Z3950 + '5.19'),
    ('SYNTAX_EXPLAIN', Z3950 + '5.100'),
    ('SYNTAX_SUTRS', Z3950 + '5.101'),
    ('SYNTAX_OPAC', Z3950 + '5.102'),
    ('SYNTAX_SUMMARY', Z3950 + '5.103'),
    ('SYNTAX_GRS1', Z3950 + '5.105'),
    ('SYNTAX_ES', Z3950 + '5.106'),
    ('SYNTAX_XML', Z3950 + '5.109.10'),
    ('SYNTAX_SQL_RS', Z3950 + '5.111'),
    ('RESOURCE1', Z3950 + '7.1'),
    ('RESOURCE2', Z3950 + '7.2'),
    ('PROMPT1', Z3950 + '8.1'),
    ('ES_ITEMORDER', Z3950 + '9.4'),
    ('ES_UPDATE', Z3950 + '9.5'),
    ('ES_EXPORTSPEC', Z3950 + '9.6'),
    ('ES_EXPORTINV', Z3950 + '9.7'),
    ('ES_PRINT', Z3950 + '9.1000.70.1'),
    ('ES_ALERT', Z3950 + '9.1000.70.2'),
    ('ES_CORDER', Z3950 + '9.4.1000.70.1'),
    ('ES_CIP_ITEMORDER', Z3950 + '9.1000.99.1'),
    ('USERINFO_SEARCHRESULT1', Z3950 + '10.1'),
    ('NEGOT_CHARSET', Z3950 + '10.2'),
    ('CIP_SPECIFIC', Z3950 + '2.1000.99.1'),
    ('QUERY_SQL', Z3950 + '16.1'),
    ('ISO_EXPLAIN', ISO + '5.100'),
    ('ISO_SUTRS', ISO + '5.101'),
    ('ISO_OPAC', ISO + '5.102'),
    ('ISO_SUMMARY', ISO + '5.103'),
    ('ISO_GRS1', ISO + '5.105'),
    ('ISO_ES', ISO + '5.106'),
    ('ISO_RESOURCE1', ISO + '7.1'),
    ('ISO_RESOURCE2', ISO + '7.2'),
    ('ISO_PROMPT1', ISO + '8.1'),
    ('ISO_ES_ITEMORDER', ISO + '9.4'),
    ('ISO_ES_UPDATE', ISO + '9.5'),
    ('ISO_ES_EXPORTSPEC', ISO + '9.6'),
    ('ISO_ES_EXPORTINV', ISO + '9.7'),
    ('ISO_USERINFO_SEARCHRESULT1', ISO + '10.1'),
    ('ISO_NEGOT_CHARSET', ISO + '10.2'),
    ('ILL_APDU', '1.2.10161.2.1'),
]
OID = dict(NAMED_OIDS)

FATAL = 'Fatal event: ASN_MakeOid failed for oid_overwrites_%s.c\\n'

# (group, failure message, [(identifier, module name contains, type name)]),
# in the order in which the groups run at start-up.
GROUPS = [
    ('cipspecific', FATAL, [(OID['CIP_SPECIFIC'], 'CIP', 'CIPSpecificInfo')]),
    ('ciporder', FATAL, [(OID['ES_CORDER'], 'COrder', 'COrder'),
                         (OID['ES_CIP_ITEMORDER'], 'CIP', 'CipBItemOrder')]),
    ('zsqlrs', FATAL, [(OID['SYNTAX_SQL_RS'], 'SQL', 'SQLResult')]),
    ('charset', FATAL, [(OID['NEGOT_CHARSET'], 'charSetandLanguage', 'CharSetandLanguageNegotiation'),
                        (OID['ISO_NEGOT_CHARSET'], 'charSetandLanguage', 'CharSetandLanguageNegotiation')]),
    ('sil', 'ASN_MakeOid failed for oid_overwrites_%s.c\\n',
     [(OID['USERINFO_SEARCHRESULT1'], 'searchResult-1', 'SearchInfoReport'),
      (OID['ISO_USERINFO_SEARCHRESULT1'], 'searchResult-1', 'SearchInfoReport')]),
    ('ill', FATAL, [(OID['ILL_APDU'], 'ILL', 'ILL-APDU')]),
    ('iso', FATAL, [(OID['ISO_EXPLAIN'], 'explain', 'Explain-Record'),
                    (OID['ISO_SUTRS'], 'SUTRS', 'SutrsRecord'),
                    (OID['ISO_OPAC'], 'opac', 'OPACRecord'),
                    (OID['ISO_SUMMARY'], 'summary', 'BriefBib'),
                    (OID['ISO_GRS1'], 'generic', 'GenericRecord'),
                    (OID['ISO_ES'], 'TaskPackage', 'TaskPackage'),
                    (OID['ISO_RESOURCE1'], 'Resource-1', 'ResourceReport'),
                    (OID['ISO_RESOURCE2'], 'Resource-2', 'ResourceReport'),
                    (OID['ISO_PROMPT1'], 'prompt-1', 'PromptObject'),
                    (OID['ISO_ES_ITEMORDER'], 'ItemOrder', 'ItemOrder'),
                    (OID['ISO_ES_UPDATE'], 'Update', 'Update'),
                    (OID['ISO_ES_EXPORTSPEC'], 'ExportSpecification', 'ExportSpecification'),
                    (OID['ISO_ES_EXPORTINV'], 'ExportInvocation', 'ExportInvocation')]),
    ('g', FATAL, [(OID['SYNTAX_GRS1'], 'generic', 'GenericRecord')]),
    ('f', FATAL, [(OID['SYNTAX_EXPLAIN'], 'explain', 'Explain-Record')]),
    ('e', FATAL, [(OID['SYNTAX_SUTRS'], 'SUTRS', 'SutrsRecord'),
                  (OID['SYNTAX_OPAC'], 'opac', 'OPACRecord'),
                  (OID['SYNTAX_SUMMARY'], 'summary', 'BriefBib')]),
    ('d', FATAL, [(OID['SYNTAX_ES'], 'TaskPackage', 'TaskPackage'),
                  (OID['ES_ITEMORDER'], 'ItemOrder', 'ItemOrder'),
                  (OID['ES_UPDATE'], 'Update', 'Update'),
                  (OID['ES_EXPORTSPEC'], 'ExportSpecification', 'ExportSpecification'),
                  (OID['ES_EXPORTINV'], 'ExportInvocation', 'ExportInvocation')]),
    ('c', FATAL, [(OID['RESOURCE1'], 'Resource-1', 'ResourceReport'),
                  (OID['RESOURCE2'], 'Resource-2', 'ResourceReport')]),
    ('b', FATAL, [(OID['ES_PRINT'], 'Print', 'Print'),
                  (OID['ES_ALERT'], 'Alert', 'Alert')]),
    ('a', FATAL, [(OID['PROMPT1'], 'prompt-1', 'PromptObject')]),
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


def oid_names_header():
    """oid_names.h: every named identifier as OID_<name>, for C and C++."""
    out = ['/* Generated by asngen from its registrations; do not edit. The object',
           ' * identifiers the toolkit and its users name, as dotted text. */',
           '#ifndef KESTRA_GEN_OID_NAMES_H', '#define KESTRA_GEN_OID_NAMES_H', '']
    out += ['#define OID_%s "%s"' % pair for pair in NAMED_OIDS]
    return '\n'.join(out + ['', '#endif', ''])


def groups_file():
    """oid_groups.cpp: the groups in their start-up order and the identifiers
    whose values the codec decodes as structures."""
    structured = []
    for _, _, entries in GROUPS:
        structured += [oid for oid, _, _ in entries if oid not in structured]
    out = ['// Generated by asngen; do not edit.', '#include "asn/asn_registry.h"', '', 'extern "C" {', '']
    out += ['void OidOverwrites_%s(void);' % group for group, _, _ in GROUPS]
    out += ['', 'const char *const ASN_StructuredOids[] = {']
    out += ['    "%s",' % oid for oid in structured]
    out += ['    nullptr,', '};', '', 'void ASN_RunRegistrationGroups(void)', '{']
    out += ['    OidOverwrites_%s();' % group for group, _, _ in GROUPS]
    out += ['}', '', '} // extern "C"', '']
    return '\n'.join(out)


def emit(model, files):
    stems = {m.name: module_file_stem(path) for path, modules in files for m in modules}
    outputs = {'oid_names.h': oid_names_header(), 'oid_groups.cpp': groups_file()}
    next_id = 1
    for group, message, entries in GROUPS:
        text, used = group_file(model, stems, group, message, entries, next_id)
        next_id += used
        outputs['oid_overwrites_%s.cpp' % group] = text
    return outputs


if __name__ == '__main__':
    print(';'.join(group for group, _, _ in GROUPS), end='')
