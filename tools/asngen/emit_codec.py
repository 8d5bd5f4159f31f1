"""The codec family: for every module file a C header with the codec
structures and a C++ source with, for each type, the contents encoder and
decoder, the whole-value encoder and decoder, the value printer and the free
routine. Encoding runs backwards (components last to first); decoding reads
forwards and aborts through the runtime."""

import registrations
from asnparse import AsnError
from asnmodel import PDU_CHOICE_CODE, c_ident, module_file_stem

INDEF = 'ASN_INDEFINITE_LEN'


def hexa(tag):
    return '0x%08Xu' % tag


def tag_test(var, tags):
    return ' || '.join('%s == %s' % (var, hexa(t)) for t in tags)


class Function:
    """Lines of one C function with fresh local names."""

    def __init__(self, header):
        self.lines = [header, '{']
        self.depth = 1
        self.counter = 0

    def add(self, line):
        self.lines.append('    ' * self.depth + line)

    def open(self, line=''):
        self.add(line + ' {' if line else '{')
        self.depth += 1

    def otherwise(self, line='else'):
        self.depth -= 1
        self.add('} %s {' % line)
        self.depth += 1

    def close(self, suffix=''):
        self.depth -= 1
        self.add('}' + suffix)

    def fresh(self, stem):
        self.counter += 1
        return '%s%d' % (stem, self.counter)

    def text(self):
        return '\n'.join(self.lines + ['}', ''])


class CodecEmitter:
    def __init__(self, model):
        self.model = model

    # -- per-kind primitives on a pointer to the value
    def content_enc(self, module, t, ptr):
        if t.kind == 'REF':
            return 'BEnc%sContent(b, %s)' % (self.model.lookup(module, t.ref).cname, ptr)
        return {
            'INTEGER': 'ASN_EncodeIntContent(b, *%s)', 'ENUMERATED': 'ASN_EncodeIntContent(b, *%s)',
            'BOOLEAN': 'ASN_EncodeBoolContent(b, *%s)', 'NULL': '((void)%s, 0)',
            'REAL': 'ASN_EncodeRealContent(b, *%s)', 'OCTETS': 'ASN_EncodeOctsContent(b, %s)',
            'OID': 'ASN_EncodeOctsContent(b, %s)', 'BITS': 'ASN_EncodeBitsContent(b, %s)',
            'EXTERNAL': 'ASN_EncodeExternalContent(b, %s)', 'ANY': 'ASN_EncodeAny(b, %s)',
            'OPEN': 'ASN_EncodeOctsContent(b, %s)',
        }[t.kind] % ptr

    def content_dec(self, module, t, ptr, tag, length, count):
        if t.kind == 'REF':
            name = self.model.lookup(module, t.ref).cname
            return 'BDec%sContent(b, %s, %s, %s, %s);' % (name, tag, length, ptr, count)
        if t.kind in ('ANY', 'OPEN'):
            raise AsnError('%s: an untagged ANY cannot be decoded here' % module.name)
        routine = {
            'INTEGER': 'Int', 'ENUMERATED': 'Int', 'BOOLEAN': 'Bool', 'NULL': 'Null',
            'REAL': 'Real', 'OCTETS': 'Octs', 'OID': 'Oid', 'BITS': 'Bits',
        }.get(t.kind)
        if routine:
            return 'ASN_Decode%sContent(b, %s, %s, %s, %s);' % (routine, tag, length, ptr, count)
        return 'ASN_DecodeExternalContent(b, %s, %s, %s, %s);' % (tag, length, ptr, count)

    def print_value(self, module, t, ptr, indent):
        if t.kind == 'REF':
            return 'Print%s(f, %s, %s);' % (self.model.lookup(module, t.ref).cname, ptr, indent)
        if t.kind == 'NULL':
            return 'ASN_PrintNull(f);'
        return {
            'INTEGER': 'ASN_PrintInt(f, *%s);', 'ENUMERATED': 'ASN_PrintInt(f, *%s);',
            'BOOLEAN': 'ASN_PrintBool(f, *%s);',
            'REAL': 'ASN_PrintReal(f, *%s);', 'OCTETS': 'ASN_PrintOcts(f, %s);',
            'OID': 'ASN_PrintOid(f, %s);', 'BITS': 'ASN_PrintBits(f, %s);',
            'OPEN': 'ASN_PrintOcts(f, %s);',
            'EXTERNAL': 'ASN_PrintExternal(f, %%s, %s);' % indent,
            'ANY': 'ASN_PrintAny(f, %%s, %s);' % indent,
        }[t.kind] % ptr

    def free_value(self, module, t, ptr):
        if t.kind == 'REF':
            return 'Free%s(%s);' % (self.model.lookup(module, t.ref).cname, ptr)
        routine = {'OCTETS': 'ASN_FreeOcts', 'OID': 'ASN_FreeOcts', 'BITS': 'ASN_FreeBits',
                   'OPEN': 'ASN_FreeOcts',
                   'EXTERNAL': 'ASN_FreeExternal', 'ANY': 'ASN_FreeAny'}.get(t.kind)
        return '%s(%s);' % (routine, ptr) if routine else None

    # -- a value with its tags
    def emit_enc(self, fn, module, t, ptr, total):
        var = fn.fresh('l')
        fn.add('AsnLen %s = %s;' % (var, self.content_enc(module, t, ptr)))
        for tag in reversed(self.model.tags(module, t)):
            fn.add('%s = ASN_EncodeTL(b, %s, %s);' % (var, var, hexa(tag)))
        fn.add('%s += %s;' % (total, var))

    def emit_dec(self, fn, module, t, ptr, tag, length, count, code, any_key=None):
        """Decodes a value of t whose first identifier and length have been
        read into the variables tag and length."""
        tags = self.model.tags(module, t)
        rmod, rt = self.model.resolve(module, t)
        opened = []
        for i, expected in enumerate(tags[1:], 1):
            self.open_explicit(fn, opened, length)
            tag, length = fn.fresh('tag'), fn.fresh('len')
            fn.add('AsnTag %s = ASN_DecodeTag(b, %s);' % (tag, count))
            fn.add('AsnLen %s = ASN_DecodeLength(b, %s);' % (length, count))
            accepted = [expected]
            if i == len(tags) - 1 and rt.kind in ('OCTETS', 'BITS'):
                accepted.append(expected | 0x20000000)
            fn.add('if (!(%s))' % tag_test(tag, accepted))
            fn.add('    ASN_Abort(%d);' % code)
        if tags and rt.kind in ('CHOICE', 'ANY', 'OPEN'):
            # An explicit tag around an untagged CHOICE or ANY.
            self.open_explicit(fn, opened, length)
            if rt.kind == 'OPEN':
                fn.add('ASN_DecodeOpen(b, %s, %s);' % (ptr, count))
            elif rt.kind == 'ANY':
                if any_key:
                    fn.add(any_key)
                fn.add('ASN_DecodeAny(b, %s, %s);' % (ptr, count))
            else:
                tag, length = fn.fresh('tag'), fn.fresh('len')
                fn.add('AsnTag %s = ASN_DecodeTag(b, %s);' % (tag, count))
                fn.add('AsnLen %s = ASN_DecodeLength(b, %s);' % (length, count))
                fn.add(self.content_dec(module, t, ptr, tag, length, count))
        else:
            fn.add(self.content_dec(module, t, ptr, tag, length, count))
        for outer in reversed(opened):
            fn.add('ASN_EndContents(b, %s, %s);' % (outer, count))

    def open_explicit(self, fn, opened, length):
        """Enters the explicit tag whose length is in length: one level of
        nesting, held to the end of the enclosing block."""
        opened.append(length)
        fn.add('AsnNesting %s;' % fn.fresh('level'))

    def first_tags(self, module, t, where):
        tags = self.model.first_tags(module, t)
        if tags is None:
            raise AsnError('%s: %s has no identifier to recognise it by' % (module.name, where))
        return tags

    # -- storage
    def field(self, module, c):
        inline = self.model.is_simple(module, c.type) and not c.optional and c.default is None
        return inline

    def struct_fields(self, nt):
        m = nt.module
        t = nt.type
        lines = []
        if t.kind == 'CHOICE':
            lines.append('    uint32_t choiceId;')
            lines.append('    union {')
            for c in t.components:
                lines.append('        %s *%s;' % (self.model.c_type(m, c.type), c_ident(c.name)))
            lines.append('    } a;')
        else:
            for cm, c in self.model.flattened_components(m, t):
                star = '' if self.field(cm, c) else '*'
                lines.append('    %s %s%s;' % (self.model.c_type(cm, c.type), star, c_ident(c.name)))
        if not lines:
            lines.append('    char empty;')
        return lines

    # -- routines of one named type
    def routines(self, nt):
        kind = nt.type.kind
        if kind in ('SEQUENCE', 'SET'):
            parts = [self.seq_enc(nt), self.set_dec(nt) if kind == 'SET' else self.seq_dec(nt),
                     self.seq_print(nt), self.seq_free(nt)]
        elif kind == 'CHOICE':
            parts = [self.choice_enc(nt), self.choice_dec(nt), self.choice_print(nt), self.choice_free(nt)]
        elif kind in ('SEQOF', 'SETOF'):
            parts = [self.list_enc(nt), self.list_dec(nt), self.list_print(nt), self.list_free(nt)]
        else:
            parts = self.alias_routines(nt)
        if not nt.lifted:
            parts += self.whole_routines(nt)
        return parts

    def components(self, nt):
        """(module, component, pointer expression, held by pointer)."""
        result = []
        for cm, c in self.model.flattened_components(nt.module, nt.type):
            name = c_ident(c.name)
            inline = self.field(cm, c)
            result.append((cm, c, '&v->' + name if inline else 'v->' + name, not inline))
        return result

    def seq_enc(self, nt):
        fn = Function('AsnLen BEnc%sContent(ASN_Buffer *b, %s *v)' % (nt.cname, nt.cname))
        fn.add('AsnLen total = 0;')
        for cm, c, ptr, pointer in reversed(self.components(nt)):
            fn.open('if (%s)' % ptr if pointer else '')
            self.emit_enc(fn, cm, c.type, ptr, 'total')
            fn.close()
        fn.add('return total;')
        return fn.text()

    def any_key(self, nt, c, ptr):
        """The registry look-up of an ANY DEFINED BY component."""
        rmod, rt = self.model.resolve(nt.module, c.type)
        if rt.kind != 'ANY' or not rt.defined_by:
            return None
        for cm, other, optr, pointer in self.components(nt):
            if other.name == rt.defined_by:
                if self.model.kind(cm, other.type) == 'OID':
                    call = 'ASN_SetAnyTypeByOid(%s, %s);' % (ptr, optr)
                else:
                    call = 'ASN_SetAnyTypeByInt(%s, *%s);' % (ptr, optr)
                return 'if (%s) %s' % (optr, call) if pointer else call
        raise AsnError('%s: %s is DEFINED BY an unknown component' % (nt.module.name, c.name))

    def alloc(self, fn, cm, c, ptr, pointer):
        if pointer:
            ctype = self.model.c_type(cm, c.type)
            fn.add('%s = (%s *)ASN_DecAlloc(sizeof(%s));' % (ptr, ctype, ctype))

    def constructed_decoder(self, nt):
        """The contents decoder of a SEQUENCE, SET or list: it walks the
        elements, counting into dec."""
        fn = Function('void BDec%sContent(ASN_Buffer *b, AsnTag tag0, AsnLen len0, %s *v, AsnLen *bytesDecoded)'
                      % (nt.cname, nt.cname))
        fn.add('AsnNesting level;')
        fn.add('AsnLen dec = 0;')
        fn.add('AsnTag tag = 0;')
        fn.add('AsnLen len = 0;')
        fn.add('(void)tag0;')
        return fn

    def finish_decoder(self, fn):
        fn.add('ASN_EndContents(b, len0, &dec);')
        fn.add('*bytesDecoded += dec;')
        return fn.text()

    def seq_dec(self, nt):
        fn = self.constructed_decoder(nt)
        fn.add('int have = ASN_NextElement(b, len0, &dec, &tag, &len);')
        for cm, c, ptr, pointer in self.components(nt):
            code = nt.component_codes[c.name]
            first = self.first_tags(cm, c.type, '%s.%s' % (nt.name, c.name))
            fn.open('if (have && (%s))' % tag_test('tag', first))
            self.alloc(fn, cm, c, ptr, pointer)
            self.emit_dec(fn, cm, c.type, ptr, 'tag', 'len', '&dec', code, self.any_key(nt, c, ptr))
            fn.add('have = ASN_NextElement(b, len0, &dec, &tag, &len);')
            if not (c.optional or c.default is not None):
                fn.otherwise()
                fn.add('ASN_Abort(%d);' % code)
            fn.close()
        fn.add('if (have)')
        fn.add('    ASN_Abort(%d);' % nt.abort)
        return self.finish_decoder(fn)

    def set_dec(self, nt):
        fn = self.constructed_decoder(nt)
        comps = self.components(nt)
        fn.add('int seen[%d] = {0};' % max(1, len(comps)))
        fn.open('while (ASN_NextElement(b, len0, &dec, &tag, &len))')
        for i, (cm, c, ptr, pointer) in enumerate(comps):
            first = self.first_tags(cm, c.type, '%s.%s' % (nt.name, c.name))
            test = 'if (!seen[%d] && (%s))' % (i, tag_test('tag', first))
            if i == 0:
                fn.open(test)
            else:
                fn.otherwise('else ' + test)
            fn.add('seen[%d] = 1;' % i)
            self.alloc(fn, cm, c, ptr, pointer)
            self.emit_dec(fn, cm, c.type, ptr, 'tag', 'len', '&dec', nt.component_codes[c.name],
                          self.any_key(nt, c, ptr))
        if comps:
            fn.otherwise()
        else:
            fn.open()
        fn.add('ASN_Abort(%d);' % nt.abort)
        fn.close()
        fn.close()
        for i, (cm, c, ptr, pointer) in enumerate(comps):
            if not (c.optional or c.default is not None):
                fn.add('if (!seen[%d])' % i)
                fn.add('    ASN_Abort(%d);' % nt.component_codes[c.name])
        return self.finish_decoder(fn)

    def seq_print(self, nt):
        fn = Function('void Print%s(FILE *f, %s *v, unsigned short indent)' % (nt.cname, nt.cname))
        fn.add('int first = 1;')
        fn.add('fputs("{ -- %s --\\n", f);' % nt.type.kind)
        for cm, c, ptr, pointer in self.components(nt):
            fn.open('if (%s)' % ptr if pointer else '')
            fn.add('ASN_PrintComponent(f, &first, indent, "%s");' % c.name)
            fn.add(self.print_value(cm, c.type, ptr, '(unsigned short)(indent + 4)'))
            fn.close()
        fn.add('ASN_PrintEnd(f, first, indent);')
        return fn.text()

    def seq_free(self, nt):
        fn = Function('void Free%s(%s *v)' % (nt.cname, nt.cname))
        fn.add('(void)v;')
        for cm, c, ptr, pointer in self.components(nt):
            release = self.free_value(cm, c.type, ptr)
            if pointer:
                fn.open('if (%s)' % ptr)
                if release:
                    fn.add(release)
                fn.add('MemFree(%s);' % ptr)
                fn.add('%s = NULL;' % ptr)
                fn.close()
            elif release:
                fn.add(release)
        return fn.text()

    def alternatives(self, nt):
        """(index, component, pointer expression, constant name)."""
        return [(i, c, 'v->a.' + c_ident(c.name), '%s_%s' % (nt.cname, c_ident(c.name)))
                for i, c in enumerate(nt.type.components)]

    def choice_enc(self, nt):
        fn = Function('AsnLen BEnc%sContent(ASN_Buffer *b, %s *v)' % (nt.cname, nt.cname))
        fn.add('AsnLen total = 0;')
        fn.open('switch (v->choiceId)')
        for i, c, ptr, const in self.alternatives(nt):
            fn.add('case %s:' % const)
            fn.open('    if (%s)' % ptr)
            self.emit_enc(fn, nt.module, c.type, ptr, 'total')
            fn.close()
            fn.add('    break;')
        fn.close()
        fn.add('return total;')
        return fn.text()

    def choice_dec(self, nt):
        fn = Function('void BDec%sContent(ASN_Buffer *b, AsnTag tag0, AsnLen len0, %s *v, AsnLen *bytesDecoded)'
                      % (nt.cname, nt.cname))
        for i, c, ptr, const in self.alternatives(nt):
            first = self.first_tags(nt.module, c.type, '%s.%s' % (nt.name, c.name))
            test = 'if (%s)' % tag_test('tag0', first)
            if i == 0:
                fn.open(test)
            else:
                fn.otherwise('else ' + test)
            fn.add('v->choiceId = %s;' % const)
            self.alloc(fn, nt.module, c, ptr, True)
            self.emit_dec(fn, nt.module, c.type, ptr, 'tag0', 'len0', 'bytesDecoded', nt.abort)
        if nt.type.components:
            fn.otherwise()
        else:
            fn.open()
            fn.add('(void)b, (void)len0, (void)bytesDecoded;')
        fn.add('v->choiceId = %d;' % len(nt.type.components))
        fn.add('ASN_Abort(%d);' % nt.abort)
        fn.close()
        return fn.text()

    def choice_print(self, nt):
        fn = Function('void Print%s(FILE *f, %s *v, unsigned short indent)' % (nt.cname, nt.cname))
        fn.add('(void)indent;')
        fn.open('switch (v->choiceId)')
        for i, c, ptr, const in self.alternatives(nt):
            fn.add('case %s:' % const)
            fn.add('    fputs("%s ", f);' % c.name)
            fn.add('    if (%s)' % ptr)
            fn.add('        ' + self.print_value(nt.module, c.type, ptr, 'indent'))
            fn.add('    break;')
        fn.close()
        return fn.text()

    def choice_free(self, nt):
        fn = Function('void Free%s(%s *v)' % (nt.cname, nt.cname))
        fn.open('switch (v->choiceId)')
        for i, c, ptr, const in self.alternatives(nt):
            fn.add('case %s:' % const)
            release = self.free_value(nt.module, c.type, ptr)
            if release:
                fn.add('    if (%s)' % ptr)
                fn.add('        ' + release)
            fn.add('    MemFree(%s);' % ptr)
            fn.add('    %s = NULL;' % ptr)
            fn.add('    break;')
        fn.close()
        return fn.text()

    def element(self, nt):
        t = nt.type.element
        return t, self.model.c_type(nt.module, t)

    def list_enc(self, nt):
        t, ctype = self.element(nt)
        fn = Function('AsnLen BEnc%sContent(ASN_Buffer *b, %s *v)' % (nt.cname, nt.cname))
        fn.add('AsnLen total = 0;')
        fn.open('for (AsnListNode *n = v->last; n; n = n->prev)')
        fn.add('%s *e = (%s *)n->data;' % (ctype, ctype))
        self.emit_enc(fn, nt.module, t, 'e', 'total')
        fn.close()
        fn.add('return total;')
        return fn.text()

    def list_dec(self, nt):
        t, ctype = self.element(nt)
        first = self.first_tags(nt.module, t, '%s element' % nt.name)
        fn = self.constructed_decoder(nt)
        fn.add('v->dataSize = sizeof(void *);')
        fn.open('while (ASN_NextElement(b, len0, &dec, &tag, &len))')
        fn.add('if (!(%s))' % tag_test('tag', first))
        fn.add('    ASN_Abort(%d);' % nt.abort)
        fn.add('%s *e = (%s *)ASN_DecAlloc(sizeof(%s));' % (ctype, ctype, ctype))
        fn.add('void **slot = (void **)ASN_ListAppend(v);')
        fn.open('if (!slot)')
        fn.add('MemFree(e);')
        fn.add('ASN_Abort(ASN_ABORT_NO_MEMORY);')
        fn.close()
        fn.add('*slot = e;')
        self.emit_dec(fn, nt.module, t, 'e', 'tag', 'len', '&dec', nt.abort)
        fn.close()
        return self.finish_decoder(fn)

    def list_print(self, nt):
        t, ctype = self.element(nt)
        fn = Function('void Print%s(FILE *f, %s *v, unsigned short indent)' % (nt.cname, nt.cname))
        fn.add('int first = 1;')
        fn.add('fputs("{ -- %s OF -- \\n", f);' % ('SEQUENCE' if nt.type.kind == 'SEQOF' else 'SET'))
        fn.open('for (AsnListNode *n = v->first; n; n = n->next)')
        fn.add('ASN_PrintComponent(f, &first, indent, NULL);')
        fn.add(self.print_value(nt.module, t, '((%s *)n->data)' % ctype, '(unsigned short)(indent + 4)'))
        fn.close()
        fn.add('ASN_PrintEnd(f, first, indent);')
        return fn.text()

    def list_free(self, nt):
        t, ctype = self.element(nt)
        fn = Function('void Free%s(%s *v)' % (nt.cname, nt.cname))
        fn.add('AsnListNode *n = v->first;')
        fn.open('while (n)')
        fn.add('AsnListNode *next = n->next;')
        fn.add('%s *e = (%s *)n->data;' % (ctype, ctype))
        release = self.free_value(nt.module, t, 'e')
        if release:
            fn.add('if (e)')
            fn.add('    ' + release)
        fn.add('MemFree(e);')
        fn.add('MemFree(n);')
        fn.add('n = next;')
        fn.close()
        fn.add('v->first = v->last = v->curr = NULL;')
        fn.add('v->count = 0;')
        return fn.text()

    def alias_routines(self, nt):
        m, t = nt.module, nt.type
        name = nt.cname
        enc = Function('AsnLen BEnc%sContent(ASN_Buffer *b, %s *v)' % (name, name))
        enc.add('return %s;' % self.content_enc(m, t, 'v'))
        dec = Function('void BDec%sContent(ASN_Buffer *b, AsnTag tag0, AsnLen len0, %s *v, AsnLen *bytesDecoded)'
                       % (name, name))
        if self.model.kind(m, t) in ('ANY', 'OPEN'):
            # Reached only after an identifier was read: an open value is
            # decoded whole, never from its contents.
            dec.add('(void)b, (void)tag0, (void)len0, (void)v, (void)bytesDecoded;')
            dec.add('ASN_Abort(%d);' % nt.abort)
        else:
            dec.add(self.content_dec(m, t, 'v', 'tag0', 'len0', 'bytesDecoded'))
        prn = Function('void Print%s(FILE *f, %s *v, unsigned short indent)' % (name, name))
        prn.add('(void)indent;')
        prn.add(self.print_value(m, t, 'v', 'indent'))
        free = Function('void Free%s(%s *v)' % (name, name))
        free.add(self.free_value(m, t, 'v') or '(void)v;')
        return [enc.text(), dec.text(), prn.text(), free.text()]

    def whole_routines(self, nt):
        ref = self.self_ref(nt)
        enc = Function('AsnLen BEnc%s(ASN_Buffer *b, %s *v)' % (nt.cname, nt.cname))
        enc.add('AsnLen total = 0;')
        self.emit_enc(enc, nt.module, ref, 'v', 'total')
        enc.add('return total;')
        dec = Function('void BDec%s(ASN_Buffer *b, %s *v, AsnLen *bytesDecoded)' % (nt.cname, nt.cname))
        if not self.model.tags(nt.module, ref) and self.model.kind(nt.module, ref) == 'OPEN':
            dec.add('ASN_DecodeOpen(b, v, bytesDecoded);')
            return [enc.text(), dec.text()]
        dec.add('AsnTag tag = ASN_DecodeTag(b, bytesDecoded);')
        dec.add('AsnLen len = ASN_DecodeLength(b, bytesDecoded);')
        first = self.model.first_tags(nt.module, ref)
        if first is not None and self.model.tags(nt.module, ref):
            dec.add('if (!(%s))' % tag_test('tag', first))
            dec.add('    ASN_Abort(%d);' % nt.abort)
        self.emit_dec(dec, nt.module, ref, 'v', 'tag', 'len', 'bytesDecoded', nt.abort)
        return [enc.text(), dec.text()]

    def self_ref(self, nt):
        from asnparse import Type
        ref = Type('REF')
        ref.ref = nt.name
        return ref

    # -- files
    def prototypes(self, nt):
        n = nt.cname
        protos = ['AsnLen BEnc%sContent(ASN_Buffer *b, %s *v);' % (n, n),
                  'void BDec%sContent(ASN_Buffer *b, AsnTag tag, AsnLen len, %s *v, AsnLen *bytesDecoded);'
                  % (n, n),
                  'void Print%s(FILE *f, %s *v, unsigned short indent);' % (n, n),
                  'void Free%s(%s *v);' % (n, n)]
        if not nt.lifted:
            protos += ['AsnLen BEnc%s(ASN_Buffer *b, %s *v);' % (n, n),
                       'void BDec%s(ASN_Buffer *b, %s *v, AsnLen *bytesDecoded);' % (n, n)]
        return protos

    def constants(self, nt):
        """Named numbers, named bits and CHOICE alternative indexes."""
        lines = []

        def enum(prefix, named):
            if named:
                items = ', '.join('%s_%s = %d' % (prefix, c_ident(n), v) for n, v in named)
                lines.append('enum { %s };' % items)

        t = nt.type
        enum(nt.cname, t.named)
        if t.kind == 'CHOICE':
            enum(nt.cname, [(c.name, i) for i, c in enumerate(t.components)])
        if nt.abort == PDU_CHOICE_CODE:
            lines.append('/* The alternative index a PDU keeps when its tag is none of these, and')
            lines.append(' * the code its decode then aborts with. */')
            lines.append('enum { ASN_PDU_UNKNOWN = %d, ASN_UNKNOWN_PDU_CODE = %d };'
                         % (len(t.components), PDU_CHOICE_CODE))
        if t.kind in ('SEQUENCE', 'SET'):
            for c in t.components:
                if c.name:
                    enum('%s_%s' % (nt.cname, c_ident(c.name)), c.type.named)
        return lines

    def alias_order(self, types):
        """Aliases before the aliases that name them."""
        by_name = {nt.name: nt for nt in types}
        done, result = set(), []

        def visit(nt, stack):
            if nt.name in done:
                return
            if nt.name in stack:
                raise AsnError('%s: circular alias %s' % (nt.module.name, nt.name))
            if nt.type.kind == 'REF' and nt.type.ref in by_name:
                visit(by_name[nt.type.ref], stack | {nt.name})
            done.add(nt.name)
            result.append(nt)

        for nt in types:
            visit(nt, set())
        return result

    def header(self, stem, modules, deps):
        guard = 'KESTRA_GEN_%s_H' % stem.upper()
        out = ['/* Generated by asngen from the ASN.1 modules %s; do not edit. */'
               % ', '.join(m.name for m in modules),
               '#ifndef ' + guard, '#define ' + guard, '',
               '#include "asn/asn_ber.h"', '#include "asn/asn_external.h"']
        out += ['#include "%s.h"' % d for d in deps]
        out += ['', '#ifdef __cplusplus', 'extern "C" {', '#endif', '']
        types = [nt for m in modules for nt in self.model.order[m.name]]
        structs = [nt for nt in types if nt.type.kind in ('SEQUENCE', 'SET', 'CHOICE')]
        aliases = [nt for nt in types if nt.type.kind not in ('SEQUENCE', 'SET', 'CHOICE')]
        out += ['typedef struct %s %s;' % (nt.cname, nt.cname) for nt in structs]
        for nt in self.alias_order(aliases):
            base = 'AsnList' if nt.type.kind in ('SEQOF', 'SETOF') else self.model.c_type(nt.module, nt.type)
            out.append('typedef %s %s;' % (base, nt.cname))
        out.append('')
        for nt in types:
            out += self.constants(nt)
        for nt in structs:
            out += ['', 'struct %s {' % nt.cname] + self.struct_fields(nt) + ['};']
        out.append('')
        for nt in types:
            out += self.prototypes(nt)
        out += ['', '#ifdef __cplusplus', '}', '#endif', '', '#endif', '']
        return '\n'.join(out)

    def source(self, stem, modules):
        out = ['// Generated by asngen; do not edit.', '#include "%s.h"' % stem, '',
               '#include "ui/mem.h"', '', 'extern "C" {', '']
        for m in modules:
            for nt in self.model.order[m.name]:
                out += self.routines(nt)
        out += ['} // extern "C"', '']
        return '\n'.join(out)


class SampleEmitter:
    """Test support (asn_samples.cpp, built into the test kit only): for each
    type a routine that fills a value with every component present, each
    CHOICE taking the alternative that the sampler's seed selects; beyond the
    sampler's depth optional components stay absent, lists empty, and each
    CHOICE takes the alternative that ends the nesting soonest. Also the
    table of every standalone type and the table of the registered open
    types. The helpers are in tests/asn/sample_values.h."""

    FILLERS = {'INTEGER': 'SampleInt', 'ENUMERATED': 'SampleInt', 'BOOLEAN': 'SampleBool',
               'REAL': 'SampleReal', 'OCTETS': 'SampleOcts', 'OID': 'SampleOid',
               'BITS': 'SampleBits', 'EXTERNAL': 'SampleExternal', 'OPEN': 'SampleOpen'}

    def __init__(self, model, codec):
        self.model = model
        self.codec = codec
        self.types = [nt for types in model.order.values() for nt in types]
        self.terminal = self.terminal_alternatives()

    def height(self, module, t, heights):
        """Nesting needed to finish a value of t with optional components
        absent, lists empty and the lowest CHOICE alternatives."""
        if t.kind == 'REF':
            return heights[id(self.model.lookup(module, t.ref))]
        if t.kind in ('SEQUENCE', 'SET'):
            return 1 + max([0] + [self.height(cm, c.type, heights)
                                  for cm, c in self.model.flattened_components(module, t)
                                  if not (c.optional or c.default is not None)])
        if t.kind == 'CHOICE':
            return 1 + min([float('inf')] + [self.height(module, c.type, heights) for c in t.components])
        return 1 if t.kind in ('SEQOF', 'SETOF') else 0

    def terminal_alternatives(self):
        heights = {id(nt): float('inf') for nt in self.types}
        changed = True
        while changed:
            changed = False
            for nt in self.types:
                h = self.height(nt.module, nt.type, heights)
                if h < heights[id(nt)]:
                    heights[id(nt)], changed = h, True
        terminal = {}
        for nt in self.types:
            if heights[id(nt)] == float('inf'):
                raise AsnError('%s: no finite value of %s' % (nt.module.name, nt.name))
            if nt.type.kind == 'CHOICE':
                alts = [self.height(nt.module, c.type, heights) for c in nt.type.components]
                terminal[id(nt)] = alts.index(min(alts))
        return terminal

    def fill(self, fn, module, t, ptr, key=None):
        if t.kind == 'REF':
            fn.add('Sample%s(s, %s);' % (self.model.lookup(module, t.ref).cname, ptr))
        elif t.kind == 'ANY':
            fn.add('SampleAnyBy%s(s, %s, %s);' % (key[0], ptr, key[1]))
        elif t.kind in self.FILLERS:
            fn.add('%s(s, %s);' % (self.FILLERS[t.kind], ptr))

    def any_key(self, nt, comps, c):
        """('Int' or 'Oid', the key's pointer) of an ANY DEFINED BY."""
        rmod, rt = self.model.resolve(nt.module, c.type)
        if rt.kind != 'ANY':
            return None
        for cm, other, optr, pointer in comps:
            if other is c:
                break
            if other.name == rt.defined_by:
                if other.optional or other.default is not None:
                    raise AsnError('%s: key %s of an ANY is optional' % (nt.module.name, other.name))
                return ('Oid' if self.model.kind(cm, other.type) == 'OID' else 'Int', optr)
        raise AsnError('%s: %s is not defined by an earlier component' % (nt.module.name, c.name))

    def sampler(self, nt):
        fn = Function('void Sample%s(AsnSampler *s, %s *v)' % (nt.cname, nt.cname))
        kind = nt.type.kind
        if kind in ('SEQUENCE', 'SET', 'CHOICE', 'SEQOF', 'SETOF'):
            fn.add('SampleScope scope(s);')
        if kind in ('SEQUENCE', 'SET'):
            comps = self.codec.components(nt)
            for cm, c, ptr, pointer in comps:
                optional = c.optional or c.default is not None
                if optional:
                    fn.open('if (SampleWanted(s))')
                if pointer:
                    fn.add('%s = SampleNew<%s>(s);' % (ptr, self.model.c_type(cm, c.type)))
                self.fill(fn, cm, c.type, ptr, self.any_key(nt, comps, c))
                if optional:
                    fn.close()
        elif kind == 'CHOICE':
            alts = self.codec.alternatives(nt)
            fn.add('v->choiceId = SampleChoice(s, %d, %d);' % (len(alts), self.terminal[id(nt)]))
            fn.open('switch (v->choiceId)')
            for i, c, ptr, const in alts:
                fn.add('case %s:' % const)
                fn.depth += 1
                fn.add('%s = SampleNew<%s>(s);' % (ptr, self.model.c_type(nt.module, c.type)))
                self.fill(fn, nt.module, c.type, ptr)
                fn.add('break;')
                fn.depth -= 1
            fn.close()
        elif kind in ('SEQOF', 'SETOF'):
            t, ctype = self.codec.element(nt)
            fn.add('v->dataSize = sizeof(void *);')
            fn.open('for (int i = SampleCount(s); i > 0; i--)')
            fn.add('%s *e = SampleNew<%s>(s);' % (ctype, ctype))
            fn.add('*static_cast<void **>(ASN_ListAppend(v)) = e;')
            self.fill(fn, nt.module, t, 'e')
            fn.close()
        else:
            self.fill(fn, nt.module, nt.type, 'v')
            if len(fn.lines) == 2:
                fn.add('(void)s, (void)v;')
        return fn.text()

    def max_alternatives(self):
        return max([len(nt.type.components) for nt in self.types if nt.type.kind == 'CHOICE'] + [1])

    def source(self):
        out = ['// Generated by asngen: sample values of every type, for the tests; do not edit.',
               '#include "tests/asn/sample_values.h"', '', '#include "asn_modules.h"', '',
               'namespace {', '']
        out += ['void Sample%s(AsnSampler *s, %s *v);' % (nt.cname, nt.cname) for nt in self.types]
        out.append('')
        out += [self.sampler(nt) for nt in self.types]
        out += ['} // namespace', '', 'const SampleType kSampleTypes[] = {']
        out += ['    SampleEntry<{0}, BEnc{0}, BDec{0}, Free{0}, Sample{0}>("{1}", "{2}"),'
                .format(nt.cname, nt.module.name, nt.name) for nt in self.types if not nt.lifted]
        out += ['};', 'const size_t kSampleTypeCount = sizeof kSampleTypes / sizeof kSampleTypes[0];', '',
                'const SampleOpenType kSampleOpenTypes[] = {']
        for key, nt in registrations.registered_types(self.model):
            oid, int_key = ('nullptr', key) if isinstance(key, int) else ('"%s"' % key, 0)
            out.append('    {%s, %d, SampleFill<%s, Sample%s>},' % (oid, int_key, nt.cname, nt.cname))
        out += ['};', 'const size_t kSampleOpenTypeCount = sizeof kSampleOpenTypes / sizeof kSampleOpenTypes[0];',
                'const uint32_t kSampleSeeds = %d;' % self.max_alternatives(), '']
        return '\n'.join(out)


def file_stems(model, files):
    """Module name -> output file stem."""
    stems = {}
    for path, modules in files:
        for m in modules:
            stems[m.name] = module_file_stem(path)
    return stems


def emit(model, files):
    """[(path, [Module])] -> {output file name: text}."""
    emitter = CodecEmitter(model)
    stems = file_stems(model, files)
    outputs = {}
    for path, modules in files:
        stem = module_file_stem(path)
        deps = []
        for m in modules:
            for d in model.dependencies(m):
                if stems[d] != stem and stems[d] not in deps:
                    deps.append(stems[d])
        outputs[stem + '.h'] = emitter.header(stem, modules, deps)
        outputs[stem + '.cpp'] = emitter.source(stem, modules)
    outputs['asn_modules.h'] = '\n'.join(
        ['/* Generated by asngen: every module header. */', '#ifndef KESTRA_GEN_ASN_MODULES_H',
         '#define KESTRA_GEN_ASN_MODULES_H'] +
        ['#include "%s.h"' % module_file_stem(p) for p, _ in files] + ['#endif', ''])
    outputs['asn_samples.cpp'] = SampleEmitter(model, emitter).source()
    return outputs
