"""Reads the ASN.1 subset that our modules use into plain objects.

Covered: module headers with a tag default, EXPORTS, IMPORTS, type
assignments, value assignments (kept only as text), tagged types, SEQUENCE,
SET, CHOICE, SEQUENCE OF, SET OF, INTEGER and ENUMERATED with named numbers,
BIT STRING with named bits, the string and time types, OBJECT IDENTIFIER,
EXTERNAL, ANY [DEFINED BY], OPTIONAL and DEFAULT, COMPONENTS OF, extension
markers and constraints (skipped).
"""

import re

# Universal tag numbers of the builtin types that the codec represents as
# octets (strings and times), by their ASN.1 names.
STRING_TYPES = {
    'OCTET STRING': 4, 'ObjectDescriptor': 7, 'UTF8String': 12,
    'NumericString': 18, 'PrintableString': 19, 'TeletexString': 20,
    'T61String': 20, 'VideotexString': 21, 'IA5String': 22, 'UTCTime': 23,
    'GeneralizedTime': 24, 'GraphicString': 25, 'VisibleString': 26,
    'ISO646String': 26, 'GeneralString': 27, 'UniversalString': 28,
    'BMPString': 30,
}

SIMPLE_KEYWORDS = {'BOOLEAN', 'NULL', 'REAL', 'EXTERNAL'}

CLASS_BITS = {'UNIVERSAL': 0x00, 'APPLICATION': 0x40, 'CONTEXT': 0x80,
              'PRIVATE': 0xC0}


class AsnError(Exception):
    pass


class Tag:
    def __init__(self, cls, number, mode):
        self.cls = cls          # 'UNIVERSAL', 'APPLICATION', 'CONTEXT', 'PRIVATE'
        self.number = number
        self.mode = mode        # 'IMPLICIT', 'EXPLICIT' or None (module default)


class Type:
    """One type expression. kind is one of INTEGER ENUMERATED BOOLEAN NULL
    REAL OCTETS OID BITS EXTERNAL ANY OPEN SEQUENCE SET CHOICE SEQOF SETOF REF."""

    def __init__(self, kind):
        self.kind = kind
        self.tags = []          # outermost first
        self.univ = None        # universal tag number of an OCTETS kind
        self.components = []    # SEQUENCE, SET, CHOICE
        self.element = None     # SEQOF, SETOF
        self.named = []         # (name, number) of INTEGER, ENUMERATED, BITS
        self.ref = None         # REF: the type reference
        self.defined_by = None  # ANY DEFINED BY: the component name


class Component:
    def __init__(self, name, type_, optional=False, default=None):
        self.name = name
        self.type = type_
        self.optional = optional
        self.default = default


class Module:
    def __init__(self, name, tag_default, path):
        self.name = name
        self.tag_default = tag_default   # 'EXPLICIT' or 'IMPLICIT'
        self.path = path
        self.imports = {}                # symbol -> module name
        self.types = {}                  # name -> Type, in file order
        self.values = {}                 # name -> value text


TOKEN_RE = re.compile(r'''
    (?P<space>\s+)
  | (?P<comment>--.*?(?:--|$))
  | (?P<block>/\*.*?\*/)
  | (?P<assign>::=)
  | (?P<ellipsis>\.\.\.)
  | (?P<range>\.\.)
  | (?P<vbrack>\[\[|\]\])
  | (?P<bstring>'[0-9A-Fa-f\s]*'[HB])
  | (?P<cstring>"(?:[^"]|"")*")
  | (?P<number>-?\d+)
  | (?P<word>[A-Za-z][A-Za-z0-9]*(?:-[A-Za-z0-9]+)*)
  | (?P<punct>[{}()\[\],;|.<>@!^:&])
''', re.VERBOSE | re.MULTILINE)


def tokenize(text, path):
    tokens = []
    pos = 0
    line = 1
    while pos < len(text):
        m = TOKEN_RE.match(text, pos)
        if not m:
            raise AsnError('%s:%d: unexpected character %r' % (path, line, text[pos]))
        kind = m.lastgroup
        if kind not in ('space', 'comment', 'block'):
            tokens.append((m.group(), line))
        line += m.group().count('\n')
        pos = m.end()
    return tokens


class Parser:
    def __init__(self, text, path):
        self.path = path
        self.tokens = tokenize(text, path)
        self.pos = 0

    # -- token helpers
    def peek(self, offset=0):
        i = self.pos + offset
        return self.tokens[i][0] if i < len(self.tokens) else None

    def line(self):
        i = min(self.pos, len(self.tokens) - 1)
        return self.tokens[i][1] if self.tokens else 0

    def error(self, message):
        raise AsnError('%s:%d: %s (at %r)' % (self.path, self.line(), message, self.peek()))

    def next(self):
        tok = self.peek()
        if tok is None:
            self.error('unexpected end of file')
        self.pos += 1
        return tok

    def accept(self, *words):
        if self.peek() in words:
            return self.next()
        return None

    def expect(self, word):
        if self.peek() != word:
            self.error('expected %r' % word)
        return self.next()

    def skip_balanced(self, open_, close):
        depth = 0
        while True:
            tok = self.next()
            if tok == open_:
                depth += 1
            elif tok == close:
                depth -= 1
                if depth == 0:
                    return

    def skip_constraints(self):
        while self.peek() == '(':
            self.skip_balanced('(', ')')

    def braced_text(self):
        start = self.pos
        self.skip_balanced('{', '}')
        return ' '.join(t for t, _ in self.tokens[start:self.pos])

    # -- modules
    def modules(self):
        result = []
        while self.peek() is not None:
            result.append(self.module())
        return result

    def module(self):
        name = self.next()
        if self.peek() == '{':
            self.skip_balanced('{', '}')
        self.expect('DEFINITIONS')
        tag_default = 'EXPLICIT'
        if self.peek() in ('EXPLICIT', 'IMPLICIT', 'AUTOMATIC'):
            tag_default = self.next()
            self.expect('TAGS')
            if tag_default == 'AUTOMATIC':
                self.error('AUTOMATIC TAGS is not supported')
        self.expect('::=')
        self.expect('BEGIN')
        module = Module(name, tag_default, self.path)
        while self.peek() in ('EXPORTS', 'IMPORTS'):
            if self.next() == 'EXPORTS':
                while self.next() != ';':
                    pass
            else:
                self.imports(module)
        while self.peek() != 'END':
            self.assignment(module)
        self.next()
        return module

    def imports(self, module):
        symbols = []
        while self.peek() != ';':
            tok = self.next()
            if tok == 'FROM':
                source = self.next()
                if self.peek() == '{':
                    self.skip_balanced('{', '}')
                for s in symbols:
                    module.imports[s] = source
                symbols = []
            elif tok != ',':
                symbols.append(tok)
        self.next()
        if symbols:
            self.error('imported symbols without FROM')

    def assignment(self, module):
        name = self.next()
        if not re.match(r'[A-Za-z]', name):
            self.error('expected an assignment')
        if name[0].isupper():
            self.expect('::=')
            if name in module.types:
                self.error('type %s defined twice' % name)
            module.types[name] = self.type()
        else:
            self.type()
            self.expect('::=')
            module.values[name] = self.value()

    def value(self):
        if self.peek() == '{':
            return self.braced_text()
        return self.next()

    # -- types
    def type(self):
        tags = []
        while self.peek() == '[':
            self.next()
            cls = 'CONTEXT'
            if self.peek() in ('UNIVERSAL', 'APPLICATION', 'PRIVATE'):
                cls = self.next()
            number = self.next()
            if not number.isdigit():
                self.error('tag number expected')
            self.expect(']')
            mode = self.accept('IMPLICIT', 'EXPLICIT')
            tags.append(Tag(cls, int(number), mode))
        t = self.untagged_type()
        t.tags = tags + t.tags
        self.skip_constraints()
        return t

    def untagged_type(self):
        tok = self.next()
        if tok in ('SEQUENCE', 'SET'):
            self.skip_constraints()
            if self.accept('SIZE'):
                self.skip_constraints()
            if self.accept('OF'):
                t = Type('SEQOF' if tok == 'SEQUENCE' else 'SETOF')
                if self.peek()[0].islower():
                    self.next()  # element identifier
                t.element = self.type()
                return t
            t = Type(tok)
            t.components = self.component_list()
            return t
        if tok == 'CHOICE':
            t = Type('CHOICE')
            t.components = self.component_list()
            return t
        if tok in ('INTEGER', 'ENUMERATED'):
            t = Type(tok)
            if self.peek() == '{':
                t.named = self.named_numbers()
            return t
        if tok == 'BIT':
            self.expect('STRING')
            t = Type('BITS')
            if self.peek() == '{':
                t.named = self.named_numbers()
            return t
        if tok == 'OCTET':
            self.expect('STRING')
            t = Type('OCTETS')
            t.univ = 4
            return t
        if tok == 'OBJECT':
            self.expect('IDENTIFIER')
            return Type('OID')
        if tok == 'ANY':
            # ANY DEFINED BY resolves through the open-type registry; a plain
            # ANY is an open value kept whole as its BER octets.
            if not self.accept('DEFINED'):
                return Type('OPEN')
            self.expect('BY')
            t = Type('ANY')
            t.defined_by = self.next()
            return t
        if tok in SIMPLE_KEYWORDS:
            return Type(tok)
        if tok in STRING_TYPES:
            t = Type('OCTETS')
            t.univ = STRING_TYPES[tok]
            return t
        if tok and tok[0].isupper():
            t = Type('REF')
            t.ref = tok
            if self.peek() == '.':   # Module.Type
                self.next()
                t.ref = self.next()
            return t
        self.pos -= 1
        self.error('type expected')

    def named_numbers(self):
        self.expect('{')
        named = []
        while True:
            if self.accept('...'):
                pass
            else:
                name = self.next()
                number = None
                if self.accept('('):
                    number = self.next()
                    self.expect(')')
                named.append((name, number))
            if self.accept('}'):
                break
            self.expect(',')
        # ENUMERATED items without numbers count on from the previous one.
        result = []
        last = -1
        for name, number in named:
            last = int(number) if number is not None and re.match(r'-?\d+$', number) else last + 1
            result.append((name, last))
        return result

    def component_list(self):
        self.expect('{')
        components = []
        if self.accept('}'):
            return components
        while True:
            if self.accept('[['):
                continue
            if self.accept('...'):
                self.skip_exception_spec()
            elif self.accept('COMPONENTS'):
                self.expect('OF')
                components.append(Component(None, self.type()))
            else:
                name = self.next()
                if not name[0].islower():
                    self.pos -= 1
                    self.error('component name expected')
                c = Component(name, self.type())
                if self.accept('OPTIONAL'):
                    c.optional = True
                elif self.accept('DEFAULT'):
                    c.default = self.value()
                components.append(c)
            while self.accept(']]'):
                pass
            if self.accept('}'):
                return components
            self.expect(',')

    def skip_exception_spec(self):
        if self.accept('!'):
            self.next()


def parse_file(path):
    with open(path, encoding='utf-8') as f:
        text = f.read()
    return Parser(text, path).modules()
