"""Parsing, the model's tags and lifting, and the codec family's output."""

import os
import unittest

import asngen
import asnmodel
import asnparse
import emit_codec

HERE = os.path.dirname(os.path.abspath(__file__))
SAMPLE = os.path.join(HERE, 'sample.asn')


def model():
    return asnmodel.Model(asnparse.parse_file(SAMPLE))


def component(m, type_name, name):
    nt = m.named[('Sample-Module', type_name)]
    return next(c for c in nt.type.components if c.name == name)


class Parsing(unittest.TestCase):
    def test_modules_defaults_imports_named_numbers_and_version_brackets(self):
        modules = asnparse.parse_file(SAMPLE)
        self.assertEqual([m.name for m in modules], ['Sample-Module', 'Sample-Other'])
        self.assertEqual([m.tag_default for m in modules], ['IMPLICIT', 'EXPLICIT'])
        self.assertEqual(modules[0].imports, {'Name': 'Sample-Other'})
        record = modules[0].types['Record']
        self.assertEqual([c.name for c in record.components],
                         ['id', 'name', 'kind', 'body', 'items', 'extra'])
        self.assertEqual(record.components[2].type.named, [('book', 1), ('serial', 2)])
        self.assertEqual(record.components[2].default, 'book')

    def test_errors_name_the_line(self):
        with self.assertRaisesRegex(asnparse.AsnError, r'x\.asn:2: type expected'):
            asnparse.Parser('M DEFINITIONS ::= BEGIN\nT ::= 5\nEND', 'x.asn').modules()


class Tags(unittest.TestCase):
    CASES = [
        # (type, component, wire identifiers outermost first)
        ('Record', 'id', [0x80000000]),            # implicit by module default
        ('Record', 'name', [0xA1000000, 0x1B000000]),  # replaces [10], explicit in its module
        ('Record', 'body', [0xA3000000]),          # a tag on a CHOICE stays explicit
        ('Record', 'items', [0xA4000000]),
        ('Record', 'extra', [0xA5000000, 0x04000000]),
    ]

    def test_effective_tags(self):
        m = model()
        mod = m.modules['Sample-Module']
        for type_name, name, expected in self.CASES:
            with self.subTest(name):
                self.assertEqual(m.tags(mod, component(m, type_name, name).type), expected)

    def test_whole_type_explicit_module_and_strings_in_both_forms(self):
        m = model()
        for module, ref, expected in [('Sample-Module', 'Record', [0x61000000]),
                                      ('Sample-Other', 'Name', [0xAA000000, 0x1B000000])]:
            t = asnparse.Type('REF')
            t.ref = ref
            self.assertEqual(m.tags(m.modules[module], t), expected)
        c = component(m, 'RecordBody', 'text')
        self.assertEqual(m.first_tags(m.modules['Sample-Module'], c.type), [0x80000000, 0xA0000000])

    def test_large_tag_numbers(self):
        self.assertEqual(asnmodel.encode_tag('CONTEXT', 201, True), 0xBF814900)
        self.assertEqual(asnmodel.encode_tag('CONTEXT', 31, True), 0xBF1F0000)


class Lifting(unittest.TestCase):
    def test_inner_types_become_named(self):
        m = model()
        names = [nt.name for nt in m.order['Sample-Module']]
        self.assertEqual(names, ['Record', 'RecordBody', 'RecordItems', 'RecordItemsItem', 'Opaque'])
        self.assertEqual(m.named[('Sample-Module', 'RecordBody')].cname, 'Sample_Module_RecordBody')

    def test_abort_codes_are_distinct_and_below_minus_100(self):
        m = model()
        codes = [nt.abort for nt in m.named.values()]
        codes += [c for nt in m.named.values() for c in nt.component_codes.values()]
        self.assertEqual(len(codes), len(set(codes)))
        self.assertTrue(all(c < -100 for c in codes))


class CodecOutput(unittest.TestCase):
    def test_files_and_routines(self):
        out = asngen.generate([SAMPLE], 'codec')
        self.assertIn('sample.h', out)
        self.assertIn('oid_overwrites_ill.cpp', out)
        header, source = out['sample.h'], out['sample.cpp']
        self.assertIn('typedef AsnOcts Sample_Module_Opaque;', header)
        self.assertIn('AsnInt id;', header)                     # mandatory simple: inline
        self.assertIn('AsnInt *kind;', header)                  # DEFAULT: through a pointer
        self.assertIn('enum { Sample_Module_Record_kind_book = 1', header)
        self.assertIn('ASN_DecodeOpen(b, v, bytesDecoded);', source)
        # Components are encoded last to first.
        self.assertLess(source.index('if (v->extra)'), source.index('if (v->name)'))


class Samples(unittest.TestCase):
    """The sample-value routines of the tests' round trips."""

    def emitter(self, text):
        m = asnmodel.Model(asnparse.Parser(text, 'x.asn').modules())
        return emit_codec.SampleEmitter(m, emit_codec.CodecEmitter(m))

    def test_recursion_ends_in_the_shallowest_alternative_and_a_loop_is_refused(self):
        e = self.emitter('M DEFINITIONS ::= BEGIN Tree ::= CHOICE { node [0] SEQUENCE { '
                         'left Tree, right Tree }, leaf [1] INTEGER } END')
        tree = e.model.named[('M', 'Tree')]
        self.assertEqual(e.terminal[id(tree)], 1)
        self.assertIn('v->choiceId = SampleChoice(s, 2, 1);', e.sampler(tree))
        with self.assertRaisesRegex(asnparse.AsnError, 'no finite value of Loop'):
            self.emitter('M DEFINITIONS ::= BEGIN Loop ::= SEQUENCE { next Loop } END')

    def test_open_value_takes_a_registered_key(self):
        e = self.emitter('M DEFINITIONS ::= BEGIN Ext ::= SEQUENCE { id [0] INTEGER, '
                         'item [1] ANY DEFINED BY id, more [2] INTEGER OPTIONAL } END')
        text = e.sampler(e.model.named[('M', 'Ext')])
        self.assertIn('SampleAnyByInt(s, v->item, &v->id);', text)
        self.assertIn('if (SampleWanted(s)) {', text)   # optional: only above the depth

    def test_every_standalone_type_has_an_entry(self):
        out = asngen.generate([SAMPLE], 'codec')['asn_samples.cpp']
        self.assertIn('SampleEntry<Sample_Module_Record, BEncSample_Module_Record,', out)
        self.assertNotIn('SampleEntry<Sample_Module_RecordBody,', out)   # lifted: inside Record


if __name__ == '__main__':
    unittest.main()
