"""The DBV family: the toolkit's public structures, one per SEQUENCE, SET
and CHOICE of the modules, with their field names by representation prefix
(the irregular names come from dbv_names), the enumerations of named numbers
and choice selectors, and for every structure a descriptor (field names,
kinds, offsets in the DBV structure and in the codec structure, enumeration
names) through which the runtime in dbv/ frees, copies, compares, converts
and prints the trees. Per module file a header dbv_<stem>.h and a source
dbv_<stem>.cpp; dbv_external.h holds the EXTERNAL and its typed values,
dbv_types.h includes everything."""

import re

import dbv_names
import registrations
from asnmodel import APDU_MODULE_PREFIX, c_ident, module_file_stem
from asnparse import AsnError
from emit_codec import CodecEmitter

# Representations whose DBV form is itself a pointer (NULL when absent).
NATURAL = ('TEXT', 'OID', 'BITS', 'LIST')
# Universal tags of the strings that may hold arbitrary octets.
OCTET_UNIVS = (4, 27)


def words(name):
    return [w for w in re.split(r'[-_]', name) if w]


def camel(name):
    """'e-delivery-service' -> 'EDeliveryService'."""
    return ''.join(w[0].upper() + w[1:] for w in words(name))


def member_word(name):
    """Enumeration member word: 'partial-1' -> 'Partial_1'."""
    return '_'.join(w[0].upper() + w[1:] for w in words(name))


def initials(base):
    return ''.join(re.findall(r'[A-Z]', base[0].upper() + base[1:])) or base[:3].upper()


class Enum:
    def __init__(self, module, prefix, members, invalid):
        self.module = module          # module name of the owning header; None: dbv_external.h
        self.prefix = prefix
        self.members = members        # [(C name, value)]
        if invalid and -1 not in [v for _, v in members]:
            self.members = members + [('%s_Invalid' % prefix, -1)]
        self.cname = 'DbvEnum_' + prefix


class Value:
    """A representation: kind (UINT ENUM BOOL NULL OCTS ANY TEXT OID BITS
    STRUCT EXTERNAL LIST), with the structure, enumeration or list element
    it needs."""

    def __init__(self, kind, dtype=None, enum=None, elem=None):
        self.kind = kind
        self.dtype = dtype
        self.enum = enum
        self.elem = elem


class Field:
    def __init__(self, name, value, dbv_ptr, asn_ptr, asn_name, selector=0, optional=False, carrier=None):
        self.name = name
        self.value = value
        self.dbv_ptr = dbv_ptr
        self.asn_ptr = asn_ptr
        self.asn_name = asn_name      # member of the codec structure
        self.selector = selector      # choice alternatives: the selector value
        self.optional = optional      # inline choice that may be absent (selector 0)
        self.carrier = carrier        # flag of a codec value of another kind (dbv_names.CARRIED)


class DType:
    def __init__(self, name, nt=None):
        self.name = name              # 'DbvSearchReq'
        self.nt = nt                  # the codec's named type; None when synthetic
        self.choice = False
        self.fields = []
        self.selector = None
        self.union = None
        self.enum = None

    @property
    def base(self):
        return self.name[3:]

    @property
    def desc(self):
        return 'DbvDesc_' + self.base


class DbvModel:
    def __init__(self, model):
        self.model = model
        self.codec = CodecEmitter(model)
        self.types = {}               # (module name, type name) -> DType
        self.enums = []
        self.prefixes = set()
        for entry in dbv_names.ENUMS.values():
            self.prefixes.add(entry[0])
        for entry in dbv_names.CHOICES.values():
            self.prefixes.add(entry[2])
        self.inline_enums = {}
        self.members = set()
        self.carried = []             # [(DType, identifier)] of dbv_names.CARRIED
        self.carrier_deps = {}        # module name -> names of the modules it carries types of
        self._name_types()
        for key, dt in self.types.items():
            self._fill(dt)
        self.external, self.single = self._synthetic()

    # -- naming
    def is_apdu(self, nt):
        return nt.module.name.startswith(APDU_MODULE_PREFIX)

    def _name_types(self):
        """The protocol module's names first; another module's type is
        Dbv + its name while that is unique, else Dbv + its codec name."""
        counts = {}
        for nt in self.model.named.values():
            counts[nt.name] = counts.get(nt.name, 0) + 1
        structured = [(key, nt) for key, nt in self.model.named.items()
                      if nt.type.kind in ('SEQUENCE', 'SET', 'CHOICE')]
        taken = {}
        for key, nt in sorted(structured, key=lambda item: not self.is_apdu(item[1])):
            if self.is_apdu(nt):
                name = dbv_names.TYPE_NAMES.get(nt.name, 'Dbv' + c_ident(nt.name))
            else:
                name = 'Dbv' + c_ident(nt.name)
                if counts[nt.name] > 1 or name in taken:
                    name = 'Dbv' + nt.cname
            if name in taken:
                raise AsnError('DBV name %s of %s.%s is taken by %s' % (name, key[0], key[1], taken[name]))
            taken[name] = '%s.%s' % key
            self.types[key] = DType(name, nt)

    def fresh_prefix(self, base):
        prefix = initials(base)
        candidate, n = prefix, 1
        while candidate in self.prefixes:
            n += 1
            candidate = '%s%d' % (prefix, n)
        self.prefixes.add(candidate)
        return candidate

    def enum_for(self, module, key, base, named, apdu):
        """The enumeration of named numbers of a type (key its name) or of
        a component (key (type, component))."""
        if (module.name, key) in self.inline_enums:
            return self.inline_enums[(module.name, key)]
        entry = dbv_names.ENUMS.get(key) if apdu else None
        prefix, irregular = entry if entry else (self.fresh_prefix(base), {})
        members = [('%s_%s' % (prefix, irregular.get(n, member_word(n))), v) for n, v in named]
        enum = self.new_enum(module.name, prefix, members, True)
        self.inline_enums[(module.name, key)] = enum
        return enum

    def new_enum(self, module, prefix, members, invalid):
        enum = Enum(module, prefix, members, invalid)
        taken = set(e.cname for e in self.enums)
        n = 1
        while enum.cname in taken:
            n += 1
            enum.cname = 'DbvEnum_%s%d' % (prefix, n)
        for name, _ in enum.members:
            if name in self.members:
                raise AsnError('enumeration member %s defined twice' % name)
            self.members.add(name)
        self.enums.append(enum)
        return enum

    # -- representations
    def value(self, module, t, owner, comp):
        """The representation of a value of t, met as component comp of the
        type owner (for the names of inline enumerations)."""
        nt = None
        while t.kind == 'REF':
            nt = self.model.lookup(module, t.ref)
            module, t = nt.module, nt.type
        kind = t.kind
        if kind in ('INTEGER', 'ENUMERATED'):
            if not t.named and kind == 'INTEGER':
                return Value('UINT')
            if nt is not None:
                enum = self.enum_for(nt.module, nt.name, camel(nt.name), t.named, self.is_apdu(nt))
            else:
                enum = self.enum_for(owner.nt.module, (owner.nt.name, comp), owner.base + camel(comp),
                                     t.named, self.is_apdu(owner.nt))
            return Value('ENUM', enum=enum)
        if kind in ('SEQUENCE', 'SET', 'CHOICE'):
            return Value('STRUCT', dtype=self.types[(nt.module.name, nt.name)])
        if kind in ('SEQOF', 'SETOF'):
            return Value('LIST', elem=self.value(module, t.element, owner, comp))
        if kind == 'OCTETS':
            return Value('OCTS' if t.univ in OCTET_UNIVS else 'TEXT')
        if kind == 'OPEN':
            return Value('OCTS')
        if kind == 'REAL':
            raise AsnError('%s: REAL has no DBV representation' % module.name)
        return Value({'BOOLEAN': 'BOOL', 'NULL': 'NULL', 'OID': 'OID', 'BITS': 'BITS',
                      'EXTERNAL': 'EXTERNAL', 'ANY': 'ANY'}[kind])

    def prefix(self, value, ptr):
        kind = value.kind
        if kind == 'LIST':
            inner = self.prefix(value.elem, value.elem.kind not in NATURAL)
            return 'p' + inner if inner.startswith('p') else 'pp' + inner
        if kind in ('TEXT', 'OID', 'BITS'):
            return 'pc'
        if ptr:
            return {'UINT': 'pul', 'ENUM': 'pe', 'BOOL': 'pf'}.get(kind, 'ps')
        return {'UINT': 'ul', 'ENUM': 'e', 'BOOL': 'f', 'NULL': 'f'}.get(kind, 's')

    def field_name(self, dt, comp, value, ptr):
        """(name, pointer) of a component, after the naming table."""
        override = None
        if self.is_apdu(dt.nt):
            override = dbv_names.FIELD_NAMES.get((dt.nt.name, comp)) or dbv_names.COMPONENT_BASES.get(comp)
        if override and override[0].islower():
            if value.kind in ('OCTS', 'STRUCT'):
                ptr = override.startswith('ps')
            return override, ptr
        return self.prefix(value, ptr) + (override or camel(comp)), ptr

    # -- structures
    def _fill(self, dt):
        nt = dt.nt
        if nt.type.kind == 'CHOICE':
            self._fill_choice(dt)
            return
        for cm, c in self.model.flattened_components(nt.module, nt.type):
            value = self.value(cm, c.type, dt, c.name)
            asn_ptr = not self.codec.field(cm, c)
            if self.is_apdu(nt) and (nt.name, c.name) in dbv_names.EMBEDDED:
                # No name: the choice's selector and union stand in dt.
                dt.fields.append(Field(None, value, False, asn_ptr, c_ident(c.name)))
                continue
            optional = c.optional or c.default is not None
            ptr = value.kind == 'EXTERNAL' or \
                (optional and value.kind in ('UINT', 'ENUM', 'BOOL', 'OCTS', 'STRUCT', 'ANY'))
            name, ptr = self.field_name(dt, c.name, value, ptr)
            inline_optional = optional and not ptr and value.kind == 'STRUCT'
            if inline_optional and not value.dtype.nt.type.kind == 'CHOICE':
                raise AsnError('%s.%s: an optional inline structure must be a choice' % (nt.name, c.name))
            dt.fields.append(Field(name, value, ptr, asn_ptr, c_ident(c.name), optional=inline_optional))

    def _fill_choice(self, dt):
        nt = dt.nt
        dt.choice = True
        entry = dbv_names.CHOICES.get(nt.name) if self.is_apdu(nt) else None
        if entry:
            dt.selector, dt.union, prefix, alts = entry
        else:
            dt.selector, dt.union, prefix, alts = 'e%sType' % dt.base, 'u' + dt.base, None, {}
            prefix = self.fresh_prefix(dt.base)
        members = []
        for i, c in enumerate(nt.type.components):
            value, carrier = self.alternative_value(nt, c, dt)
            alt = alts.get(c.name)
            word = alt[0] if alt else member_word(c.name)
            selector = alt[2] if alt and len(alt) > 2 else i + 1
            ptr = value.kind in ('OCTS', 'STRUCT', 'ANY', 'EXTERNAL')
            if alt:
                name = alt[1]
            else:
                name = None if value.kind == 'NULL' else self.prefix(value, ptr) + camel(c.name)
            members.append(('%s_%s' % (prefix, word), selector))
            dt.fields.append(Field(name, value, ptr, True, c_ident(c.name), selector, carrier=carrier))
        dt.enum = self.new_enum(nt.module.name, prefix, members, False)

    def alternative_value(self, nt, c, dt):
        """(representation, carrier flag) of a choice alternative."""
        key = (nt.name, c.name) if self.is_apdu(nt) else None
        if key in dbv_names.OPEN_EXTERNALS:
            return Value('EXTERNAL'), 'DBV_F_ASN_OPEN'
        if key in dbv_names.CARRIED:
            hint, type_name, oid = dbv_names.CARRIED[key]
            inner = registrations.find_type(self.model, hint, type_name)
            if inner is None:
                raise AsnError('%s.%s: no type %s in a module named like %s' % (nt.name, c.name, type_name, hint))
            dtype = self.types[(inner.module.name, inner.name)]
            self.carried.append((dtype, oid))
            self.carrier_deps.setdefault(nt.module.name, []).append(inner.module.name)
            return Value('STRUCT', dtype=dtype), 'DBV_F_ASN_EXTERNAL'
        return self.value(nt.module, c.type, dt, c.name), None

    def _synthetic(self):
        """DbvExternal and its typed single-ASN1-type value."""
        single = DType('DbvSingleASN1Type')
        single.choice = True
        single.selector, single.union = 'eASN1Type', 'uASN1'
        raw_member, raw_value, raw_field = dbv_names.ASN1_RAW
        single.fields.append(Field(raw_field, Value('OCTS'), True, True, None, raw_value))
        members = [(raw_member, raw_value)]
        # (identifier, type tag): the identifier sent for a tag first, then
        # the others that the registration groups install for its type.
        single.oids = []
        registered = [(oid, registrations.find_type(self.model, hint, name))
                      for _, _, entries in registrations.GROUPS for oid, hint, name in entries]
        for member, number, field, sent in dbv_names.ASN1_TYPES:
            nt = dict(registered).get(sent)
            if nt is None:
                continue
            value = self.value(nt.module, self.codec.self_ref(nt), None, None)
            single.fields.append(Field(field, value, value.kind not in NATURAL, True, None, number))
            single.oids += [(sent, number)] + [(oid, number) for oid, other in registered
                                               if other is nt and oid != sent]
            members.append((member, number))
        single.enum = self.new_enum(None, 'AT', members, False)

        choice = DType('DbvExternalValue')
        choice.choice = True
        choice.selector, choice.union = 'eValueType', 'uExternalValue'
        choice.fields = [Field('psSingleASN1Type', Value('STRUCT', dtype=single), True, True, None, 1),
                         Field('psOctetAligned', Value('OCTS'), True, True, None, 2),
                         Field('psArbitrary', Value('OCTS'), True, True, None, 3)]
        choice.enum = self.new_enum(None, 'EVT', [('EVT_SingleASN1Type', 1), ('EVT_OctetAligned', 2),
                                                  ('EVT_Arbitrary', 3)], False)
        external = DType('DbvExternal')
        external.fields = [Field('ObjectIdentifier', Value('OID'), False, True, None),
                           Field('pulIndirectReference', Value('UINT'), True, True, None),
                           Field('pcDataValueDescriptor', Value('TEXT'), False, True, None),
                           Field(None, Value('STRUCT', dtype=choice), False, True, None)]
        return external, single


# -- C text

def c_type(value):
    """C type of the inline representation."""
    kind = value.kind
    if kind == 'LIST':
        return elem_type(value.elem) + '*'
    return {'UINT': 'uint32_t', 'ENUM': 'int', 'BOOL': 'int', 'NULL': 'int', 'OCTS': 'DbvOctetString',
            'ANY': 'DbvOctetString', 'TEXT': 'char *', 'OID': 'char *', 'BITS': 'char *',
            'EXTERNAL': 'DbvExternal'}.get(kind) or value.dtype.name


def elem_type(value):
    base = c_type(value)
    return base if value.kind in NATURAL else base + ' *'


def declare(ctype, name):
    return '%s%s%s;' % (ctype, '' if ctype.endswith('*') else ' ', name)


def field_decl(f):
    ctype = c_type(f.value)
    if f.dbv_ptr:
        ctype += ' *'
    return declare(ctype, f.name)


def choice_members(dt, indent):
    lines = ['%sint %s;' % (indent, dt.selector)]
    members = [f for f in dt.fields if f.name]
    if dt.union is None:
        lines += [indent + field_decl(f) for f in members]
    elif members:
        lines.append(indent + 'union {')
        lines += [indent + '    ' + field_decl(f) for f in members]
        lines.append('%s} %s;' % (indent, dt.union))
    return lines


def struct_text(dt):
    lines = ['struct %s {' % dt.name]
    if dt.choice:
        lines += choice_members(dt, '    ')
    else:
        for f in dt.fields:
            if f.name is None:
                lines += choice_members(f.value.dtype, '    ')
            else:
                lines.append('    ' + field_decl(f))
        if not dt.fields:
            lines.append('    char cEmpty;')
    return lines + ['};']


def inline_deps(dt):
    """Structures that dt holds inline (they must be complete before it)."""
    result = []
    for f in dt.fields:
        if f.value.kind == 'STRUCT' and not f.dbv_ptr:
            inner = f.value.dtype
            result += inline_deps(inner) if f.name is None else [inner]
    return result


def ordered(dtypes):
    done, result = set(), []
    present = {dt.name for dt in dtypes}

    def visit(dt):
        if dt.name in done:
            return
        done.add(dt.name)
        for dep in inline_deps(dt):
            if dep.name in present:
                visit(dep)
        result.append(dt)

    for dt in dtypes:
        visit(dt)
    return result


def enum_text(enum):
    return 'enum { %s };' % ', '.join('%s = %d' % m for m in enum.members)


class Descriptors:
    """The descriptor tables of a set of structures."""

    def __init__(self):
        self.lines = []
        self.counter = 0

    def value_init(self, value):
        kind = 'DBV_K_' + value.kind
        dtype = '&%s' % value.dtype.desc if value.dtype else 'NULL'
        enum = '&%s' % value.enum.cname if value.enum else 'NULL'
        elem = 'NULL'
        if value.elem:
            self.counter += 1
            elem = 'kElem%d' % self.counter
            init = self.value_init(value.elem)
            self.lines.append('static const DbvValueDesc %s = %s;' % (elem, init))
            elem = '&' + elem
        if value.kind == 'EXTERNAL':
            dtype = '&DbvDesc_External'
        return '{%s, %s, %s, %s}' % (kind, dtype, enum, elem)

    def flags(self, f):
        flags = [name for name, on in (('DBV_F_DBV_PTR', f.dbv_ptr), ('DBV_F_ASN_PTR', f.asn_ptr),
                                       ('DBV_F_OPTIONAL', f.optional), (f.carrier, f.carrier)) if on]
        return ' | '.join(flags) or '0'

    def type_desc(self, dt, holder=None, codec=None):
        """holder: the structure whose offsets the fields use (an embedded
        choice uses its enclosing structure's); codec: the codec structure,
        None for the synthetic types."""
        holder = holder or dt
        self.counter += 1
        table = 'kFields%d' % self.counter
        rows = []
        if dt.choice:
            union = dt.union and 'offsetof(%s, %s)' % (holder.name, dt.union)
        for f in dt.fields:
            if dt.choice:
                dbv_off = union if dt.union and f.name else \
                    ('offsetof(%s, %s)' % (holder.name, f.name) if f.name else '0')
                asn_off = 'offsetof(%s, a)' % codec if codec and f.asn_name else '0'
            else:
                dbv_off = 'offsetof(%s, %s)' % (holder.name, f.name) if f.name else '0'
                asn_off = 'offsetof(%s, %s)' % (codec, f.asn_name) if codec and f.asn_name else '0'
            if not dt.choice and f.name is None:
                inner = f.value.dtype
                inner_codec = inner.nt.cname if inner.nt else None
                value = '{DBV_K_STRUCT, &%s, NULL, NULL}' % self.type_desc(inner, dt, inner_codec)
            else:
                value = self.value_init(f.value)
            name = '"%s"' % f.name if f.name else 'NULL'
            rows.append('    {%s, %s, %s, %d, %s, %s},' % (name, value, self.flags(f), f.selector, dbv_off, asn_off))
        if rows:
            self.lines.append('static const DbvFieldDesc %s[] = {' % table)
            self.lines += rows + ['};']
        else:
            table = 'NULL'
        name = dt.desc if holder is dt else 'kEmbedded%d' % self.counter
        if holder is dt:
            size = 'sizeof(%s)' % dt.name
            prefix = 'extern "C" const DbvTypeDesc'
        else:
            size = '0'
            prefix = 'static const DbvTypeDesc'
        asn_size = 'sizeof(%s)' % codec if codec else '0'
        if dt.choice:
            sel_off = 'offsetof(%s, %s)' % (holder.name, dt.selector)
            sel = '"%s"' % dt.selector
            uni = '"%s"' % dt.union if dt.union else 'NULL'
            enum = '&' + dt.enum.cname
        else:
            sel_off, sel, uni, enum = '0', 'NULL', 'NULL', 'NULL'
        self.lines.append('%s %s = {"%s", %d, %s, %s, %s, %s, %s, %s, %d, %s};' % (
            prefix, name, dt.name, 1 if dt.choice else 0, size, asn_size, sel_off, sel, uni, enum,
            len(dt.fields), table))
        return name

    def enum_desc(self, enum):
        self.counter += 1
        table = 'kMembers%d' % self.counter
        self.lines.append('static const DbvEnumMember %s[] = {%s};' % (
            table, ', '.join('{%d, "%s"}' % (v, n) for n, v in enum.members)))
        self.lines.append('extern "C" const DbvEnumDesc %s = {%d, %s};' % (enum.cname, len(enum.members), table))


def header(guard, comment, includes, dtypes, enums, protos):
    out = ['/* %s; generated by asngen, do not edit. */' % comment, '#ifndef ' + guard, '#define ' + guard, '']
    out += ['#include "%s"' % i for i in includes]
    out += ['', '#ifdef __cplusplus', 'extern "C" {', '#endif', '']
    # DbvExternal is declared ahead, in dbv/dbv_desc.h, for every header.
    out += ['typedef struct %s %s;' % (dt.name, dt.name) for dt in dtypes if dt.name != 'DbvExternal']
    out.append('')
    out += [enum_text(e) for e in enums]
    for dt in ordered(dtypes):
        out += [''] + struct_text(dt)
    out.append('')
    out += ['extern const DbvEnumDesc %s;' % e.cname for e in enums]
    out += ['extern const DbvTypeDesc %s;' % dt.desc for dt in dtypes]
    out += protos
    out += ['', '#ifdef __cplusplus', '}', '#endif', '', '#endif', '']
    return '\n'.join(out)


def tree_protos(dt):
    return ['void DbvFree%s(%s *v);' % (dt.base, dt.name),
            '%s *DbvCopy%s(const %s *v);' % (dt.name, dt.base, dt.name)]


def tree_bodies(dt):
    return ['void DbvFree%s(%s *v) { DbvFreeTree(&%s, v); }' % (dt.base, dt.name, dt.desc),
            '%s *DbvCopy%s(const %s *v) { return static_cast<%s *>(DbvCopyTree(&%s, v)); }'
            % (dt.name, dt.base, dt.name, dt.name, dt.desc)]


def source(stem, includes, dtypes, enums):
    out = ['// Generated by asngen; do not edit.', '#include "dbv_%s.h"' % stem, '']
    out += ['#include "%s"' % i for i in includes]
    out += ['', '#include <stddef.h>', '']
    table = Descriptors()
    for e in enums:
        table.enum_desc(e)
    for dt in dtypes:
        table.type_desc(dt, codec=dt.nt.cname if dt.nt else None)
    out += table.lines + ['', 'extern "C" {', '']
    for dt in dtypes:
        out += tree_bodies(dt)
    out += ['', '} // extern "C"', '']
    return '\n'.join(out)


def module_types(dbv, modules):
    names = set(m.name for m in modules)
    return [dt for (mname, _), dt in dbv.types.items() if mname in names]


def emit(model, files, dbv):
    outputs = {}
    stems = {}
    for path, modules in files:
        for m in modules:
            stems[m.name] = module_file_stem(path)
    all_includes = []
    for path, modules in files:
        stem = module_file_stem(path)
        dtypes = module_types(dbv, modules)
        names = set(m.name for m in modules)
        enums = [e for e in dbv.enums if e.module in names]
        deps = []
        for m in modules:
            for d in list(model.dependencies(m)) + dbv.carrier_deps.get(m.name, []):
                if stems[d] != stem and 'dbv_%s.h' % stems[d] not in deps:
                    deps.append('dbv_%s.h' % stems[d])
        guard = 'KESTRA_GEN_DBV_%s_H' % stem.upper()
        protos = [p for dt in dtypes for p in tree_protos(dt)]
        outputs['dbv_%s.h' % stem] = header(guard, 'DBV structures of %s' % ', '.join(m.name for m in modules),
                                            ['dbv/dbv_desc.h'] + deps, dtypes, enums, protos)
        outputs['dbv_%s.cpp' % stem] = source(stem, ['%s.h' % stem], dtypes, enums)
        all_includes.append('dbv_%s.h' % stem)
    synthetic = [dbv.single, dbv.external]
    enums = [e for e in dbv.enums if e.module is None]
    protos = [p for dt in synthetic for p in tree_protos(dt)]
    outputs['dbv_external.h'] = header('KESTRA_GEN_DBV_EXTERNAL_H', 'The EXTERNAL and its typed values',
                                       ['dbv/dbv_desc.h'] + all_includes, synthetic, enums, protos)
    oids = ['extern "C" const DbvAsn1Oid DbvAsn1Oids[] = {'] + \
        ['    {"%s", %d},' % row for row in dbv.single.oids] + \
        ['};', 'extern "C" const uint32_t DbvAsn1OidCount = %d;' % len(dbv.single.oids), '']
    outputs['dbv_external.cpp'] = source('external', [], synthetic, enums) + '\n'.join(oids)
    outputs['dbv_types.h'] = '\n'.join(
        ['/* Every DBV structure; generated by asngen, do not edit. */', '#ifndef KESTRA_GEN_DBV_TYPES_H',
         '#define KESTRA_GEN_DBV_TYPES_H'] + ['#include "%s"' % i for i in all_includes] +
        ['#include "dbv_external.h"', '#endif', ''])
    return outputs
