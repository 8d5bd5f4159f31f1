"""The checked, output-neutral view of a set of modules: references resolved
across imports, anonymous structured types lifted into named ones, C names,
effective tag lists and abort codes. Every output family works from this."""

import re

from asnparse import AsnError, CLASS_BITS, Type

STRUCTURED = ('SEQUENCE', 'SET', 'CHOICE', 'SEQOF', 'SETOF')
SIMPLE = ('INTEGER', 'ENUMERATED', 'BOOLEAN', 'NULL', 'REAL')

UNIVERSAL_TAGS = {'INTEGER': 2, 'ENUMERATED': 10, 'BOOLEAN': 1, 'NULL': 5,
                  'REAL': 9, 'OID': 6, 'BITS': 3, 'EXTERNAL': 8,
                  'SEQUENCE': 16, 'SEQOF': 16, 'SET': 17, 'SETOF': 17}

C_KEYWORDS = set('''auto break case char const continue default do double else
enum extern float for goto if inline int long register restrict return short
signed sizeof static struct switch typedef union unsigned void volatile while
bool class delete friend mutable namespace new operator private protected
public template this throw try typename using virtual true false and or not xor
bitand bitor compl and_eq or_eq xor_eq not_eq export explicit catch asm concept
requires module import final override nullptr alignas alignof decltype
noexcept static_assert thread_local constexpr char16_t char32_t wchar_t'''.split())

# The module whose names go unprefixed into C: the protocol's own.
APDU_MODULE_PREFIX = 'Z39-50-APDU'

# Abort codes: the top-level PDU choice has its fixed code; every other code
# comes from a per-module block well below it.
PDU_CHOICE_CODE = -266
CODE_BLOCK = 10000
CODE_BASE = -1000


def c_ident(name):
    ident = name.replace('-', '_')
    return ident + '_' if ident in C_KEYWORDS else ident


def encode_tag(cls, number, constructed):
    first = CLASS_BITS[cls] | (0x20 if constructed else 0)
    if number < 31:
        octets = [first | number]
    else:
        groups = [number & 0x7F]
        number >>= 7
        while number:
            groups.insert(0, 0x80 | (number & 0x7F))
            number >>= 7
        octets = [first | 0x1F] + groups
    if len(octets) > 3:
        raise AsnError('tag number %d too large' % number)
    value = 0
    for i, octet in enumerate(octets):
        value |= octet << (24 - 8 * i)
    return value


class NamedType:
    def __init__(self, module, name, type_):
        self.module = module
        self.name = name
        self.type = type_
        self.cname = None
        self.abort = None        # code of a structural mismatch in this type
        self.lifted = False


class Model:
    def __init__(self, modules):
        self.modules = {}
        for m in modules:
            if m.name in self.modules:
                raise AsnError('module %s defined twice' % m.name)
            self.modules[m.name] = m
        self.named = {}          # (module name, type name) -> NamedType
        self.order = {}          # module name -> [NamedType] in emit order
        for m in modules:
            self.order[m.name] = []
            for name, t in list(m.types.items()):
                self._add(m, name, t)
        self._name_c()
        self._assign_codes()

    # -- building
    def _add(self, module, name, t, lifted=False):
        nt = NamedType(module, name, t)
        nt.lifted = lifted
        self.named[(module.name, name)] = nt
        self.order[module.name].append(nt)
        self._lift(module, name, t)
        return nt

    def _lift(self, module, parent, t):
        """Replaces every anonymous structured type inside t by a reference
        to a new named type called parent + component name."""
        if t.kind in ('SEQUENCE', 'SET', 'CHOICE'):
            for c in t.components:
                if c.name is None:
                    continue
                c.type = self._lift_one(module, parent + c.name[0].upper() + c.name[1:], c.type)
        elif t.kind in ('SEQOF', 'SETOF'):
            t.element = self._lift_one(module, parent + 'Item', t.element)

    def _lift_one(self, module, name, t):
        if t.kind not in STRUCTURED:
            return t
        while name in module.types or (module.name, name) in self.named:
            name += '_'
        ref = Type('REF')
        ref.ref = name
        ref.tags = t.tags
        t.tags = []
        module.types[name] = t
        self._add(module, name, t, lifted=True)
        return ref

    def _name_c(self):
        seen = {}
        for mname, types in self.order.items():
            prefix = '' if mname.startswith(APDU_MODULE_PREFIX) else c_ident(mname) + '_'
            for nt in types:
                nt.cname = prefix + c_ident(nt.name)
                if nt.cname in seen:
                    raise AsnError('C name %s of %s.%s clashes with %s' %
                                   (nt.cname, mname, nt.name, seen[nt.cname]))
                seen[nt.cname] = '%s.%s' % (mname, nt.name)

    def _assign_codes(self):
        for k, mname in enumerate(sorted(self.order)):
            code = CODE_BASE - CODE_BLOCK * k
            for nt in self.order[mname]:
                if nt.name == 'PDU' and mname.startswith(APDU_MODULE_PREFIX):
                    nt.abort = PDU_CHOICE_CODE
                else:
                    code -= 1
                    nt.abort = code
                nt.component_codes = {}
                if nt.type.kind in ('SEQUENCE', 'SET'):
                    for _, c in self.flattened_components(nt.module, nt.type):
                        code -= 1
                        nt.component_codes[c.name] = code

    # -- queries
    def lookup(self, module, name):
        """The NamedType that a reference in module names."""
        seen = set()
        while True:
            if name in module.types:
                return self.named[(module.name, name)]
            source = module.imports.get(name)
            if source is None or (source, name) in seen:
                raise AsnError('%s: unknown type %s' % (module.name, name))
            seen.add((source, name))
            if source not in self.modules:
                raise AsnError('%s imports %s from %s, which is not present' %
                               (module.name, name, source))
            module = self.modules[source]

    def resolve(self, module, t):
        """The non-reference type expression behind t, with its module."""
        guard = 0
        while t.kind == 'REF':
            nt = self.lookup(module, t.ref)
            module, t = nt.module, nt.type
            guard += 1
            if guard > 100:
                raise AsnError('%s: circular type reference' % module.name)
        return module, t

    def kind(self, module, t):
        return self.resolve(module, t)[1].kind

    def layers(self, module, t):
        """(tag class, number, mode) from outer to inner, down to the
        universal tag of the resolved type (CHOICE and ANY have none)."""
        result = []
        while True:
            for tag in t.tags:
                result.append((tag.cls, tag.number, tag.mode or module.tag_default))
            if t.kind != 'REF':
                break
            nt = self.lookup(module, t.ref)
            module, t = nt.module, nt.type
        univ = t.univ if t.kind == 'OCTETS' else UNIVERSAL_TAGS.get(t.kind)
        if univ is not None:
            result.append(('UNIVERSAL', univ, 'UNIV'))
        return result

    def tags(self, module, t):
        """The identifiers that stand on the wire for a value of t, outermost
        first, as 32-bit values; an IMPLICIT tag replaces the next one."""
        kept = []
        skip = False
        for cls, number, mode in self.layers(module, t):
            if not skip:
                kept.append((cls, number))
            skip = mode == 'IMPLICIT'
        kind = self.kind(module, t)
        result = []
        for i, (cls, number) in enumerate(kept):
            inner = i + 1 < len(kept) or kind not in SIMPLE + ('OCTETS', 'OID', 'BITS')
            result.append(encode_tag(cls, number, inner))
        return result

    def first_tags(self, module, t, depth=0):
        """Identifiers a value of t may start with; None when any will do."""
        tags = self.tags(module, t)
        if tags:
            first = [tags[0]]
            if len(tags) == 1 and self.kind(module, t) in ('OCTETS', 'BITS'):
                first.append(tags[0] | 0x20000000)
            return first
        rmod, rt = self.resolve(module, t)
        if rt.kind != 'CHOICE' or depth > 50:  # ANY and OPEN: unknown
            return None
        result = []
        for c in rt.components:
            sub = self.first_tags(rmod, c.type, depth + 1)
            if sub is None:
                return None
            result.extend(sub)
        return result

    def c_type(self, module, t):
        if t.kind == 'REF':
            return self.lookup(module, t.ref).cname
        return {'INTEGER': 'AsnInt', 'ENUMERATED': 'AsnInt', 'BOOLEAN': 'AsnBool',
                'NULL': 'AsnNull', 'REAL': 'AsnReal', 'OCTETS': 'AsnOcts',
                'OID': 'AsnOid', 'BITS': 'AsnBits', 'EXTERNAL': 'AsnExternal',
                'ANY': 'AsnAny', 'OPEN': 'AsnOcts'}[t.kind]

    def is_simple(self, module, t):
        return self.kind(module, t) in SIMPLE

    def dependencies(self, module):
        """Modules whose types module refers to, in a stable order."""
        result = []
        for source in module.imports.values():
            if source not in result and source in self.modules:
                result.append(source)
        return result

    def flattened_components(self, module, t, depth=0):
        """Components of a SEQUENCE or SET with COMPONENTS OF expanded;
        pairs of (module the component's type belongs to, component)."""
        result = []
        for c in t.components:
            if c.name is None:
                rmod, rt = self.resolve(module, c.type)
                if rt.kind not in ('SEQUENCE', 'SET') or depth > 20:
                    raise AsnError('%s: COMPONENTS OF a non-SEQUENCE' % module.name)
                result.extend(self.flattened_components(rmod, rt, depth + 1))
            else:
                result.append((module, c))
        return result


def module_file_stem(path):
    base = re.sub(r'\.[^.]*$', '', path.replace('\\', '/').split('/')[-1])
    return re.sub(r'[^A-Za-z0-9]', '_', base).lower()
