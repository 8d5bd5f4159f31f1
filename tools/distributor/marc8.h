// MARC-8, the character encoding of records whose leader position 09 is
// blank, turned into UTF-8 for people to read. The code tables are data
// (marc8_tables.cpp); the conversion follows the escape sequences that
// switch sets and moves each combining mark after its base character.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// One character of a MARC-8 code table: its set (the final octet of the
// escape sequence that selects the set), its code as the table publishes it
// (0x21-0x7E for a set usually read through G0, 0xA1-0xFE through G1), its
// UCS code point, and whether it is a combining mark, which MARC-8 writes
// before its base character.
struct Marc8Character {
    char set;
    unsigned char code;
    uint16_t ucs;
    bool combining;
};

// The set of the controls 0x88, 0x89, 0x8D and 0x8E, which hold whatever sets are selected.
const char kMarc8Controls = '\0';

extern const Marc8Character kMarc8Characters[];
extern const size_t kMarc8CharacterCount;

// Returns `text` (one field's data) in UTF-8, read from the default sets
// (ASCII in G0, ANSEL in G1). Every combining mark follows its base
// character; a ligature or double tilde written as two halves becomes one
// double-width mark after the first base. A character of a set this
// converter does not know, an octet no table holds and a malformed escape
// sequence each show as U+FFFD. Octets below 0x20 stay as they are.
std::string Marc8ToUtf8(const std::string &text);

// Returns the UTF-8 octets of a code point below 0x110000.
std::string Utf8(uint32_t code_point);
