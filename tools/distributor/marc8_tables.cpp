// The MARC-8 code tables, one row per character, from the published MARC-8
// code tables: set, code, UCS code point, combining. Basic Latin (ASCII,
// ESC ( B or ESC s) maps 0x21-0x7E to itself and has no rows. Codes are
// looked up by their low seven bits, so a set reads the same through G0
// and G1.
#include "tools/distributor/marc8.h"

const Marc8Character kMarc8Characters[] = {
    // Controls valid in every set (0x80-0x9F)
    {kMarc8Controls, 0x88, 0x0098, false}, // START OF STRING (non-sorting text begins)
    {kMarc8Controls, 0x89, 0x009C, false}, // STRING TERMINATOR (non-sorting text ends)
    {kMarc8Controls, 0x8D, 0x200D, false}, // ZERO WIDTH JOINER
    {kMarc8Controls, 0x8E, 0x200C, false}, // ZERO WIDTH NON-JOINER
    // Extended Latin, ANSEL (ESC ) E); E0-FE are combining marks
    {'E', 0xA1, 0x0141, false}, // LATIN CAPITAL LETTER L WITH STROKE
    {'E', 0xA2, 0x00D8, false}, // LATIN CAPITAL LETTER O WITH STROKE
    {'E', 0xA3, 0x0110, false}, // LATIN CAPITAL LETTER D WITH STROKE
    {'E', 0xA4, 0x00DE, false}, // LATIN CAPITAL LETTER THORN
    {'E', 0xA5, 0x00C6, false}, // LATIN CAPITAL LETTER AE
    {'E', 0xA6, 0x0152, false}, // LATIN CAPITAL LIGATURE OE
    {'E', 0xA7, 0x02B9, false}, // MODIFIER LETTER PRIME
    {'E', 0xA8, 0x00B7, false}, // MIDDLE DOT
    {'E', 0xA9, 0x266D, false}, // MUSIC FLAT SIGN
    {'E', 0xAA, 0x00AE, false}, // REGISTERED SIGN
    {'E', 0xAB, 0x00B1, false}, // PLUS-MINUS SIGN
    {'E', 0xAC, 0x01A0, false}, // LATIN CAPITAL LETTER O WITH HORN
    {'E', 0xAD, 0x01AF, false}, // LATIN CAPITAL LETTER U WITH HORN
    {'E', 0xAE, 0x02BC, false}, // MODIFIER LETTER APOSTROPHE
    {'E', 0xB0, 0x02BB, false}, // MODIFIER LETTER TURNED COMMA
    {'E', 0xB1, 0x0142, false}, // LATIN SMALL LETTER L WITH STROKE
    {'E', 0xB2, 0x00F8, false}, // LATIN SMALL LETTER O WITH STROKE
    {'E', 0xB3, 0x0111, false}, // LATIN SMALL LETTER D WITH STROKE
    {'E', 0xB4, 0x00FE, false}, // LATIN SMALL LETTER THORN
    {'E', 0xB5, 0x00E6, false}, // LATIN SMALL LETTER AE
    {'E', 0xB6, 0x0153, false}, // LATIN SMALL LIGATURE OE
    {'E', 0xB7, 0x02BA, false}, // MODIFIER LETTER DOUBLE PRIME
    {'E', 0xB8, 0x0131, false}, // LATIN SMALL LETTER DOTLESS I
    {'E', 0xB9, 0x00A3, false}, // POUND SIGN
    {'E', 0xBA, 0x00F0, false}, // LATIN SMALL LETTER ETH
    {'E', 0xBC, 0x01A1, false}, // LATIN SMALL LETTER O WITH HORN
    {'E', 0xBD, 0x01B0, false}, // LATIN SMALL LETTER U WITH HORN
    {'E', 0xC0, 0x00B0, false}, // DEGREE SIGN
    {'E', 0xC1, 0x2113, false}, // SCRIPT SMALL L
    {'E', 0xC2, 0x2117, false}, // SOUND RECORDING COPYRIGHT
    {'E', 0xC3, 0x00A9, false}, // COPYRIGHT SIGN
    {'E', 0xC4, 0x266F, false}, // MUSIC SHARP SIGN
    {'E', 0xC5, 0x00BF, false}, // INVERTED QUESTION MARK
    {'E', 0xC6, 0x00A1, false}, // INVERTED EXCLAMATION MARK
    {'E', 0xC7, 0x00DF, false}, // LATIN SMALL LETTER SHARP S
    {'E', 0xC8, 0x20AC, false}, // EURO SIGN
    {'E', 0xE0, 0x0309, true}, // COMBINING HOOK ABOVE
    {'E', 0xE1, 0x0300, true}, // COMBINING GRAVE ACCENT
    {'E', 0xE2, 0x0301, true}, // COMBINING ACUTE ACCENT
    {'E', 0xE3, 0x0302, true}, // COMBINING CIRCUMFLEX ACCENT
    {'E', 0xE4, 0x0303, true}, // COMBINING TILDE
    {'E', 0xE5, 0x0304, true}, // COMBINING MACRON
    {'E', 0xE6, 0x0306, true}, // COMBINING BREVE
    {'E', 0xE7, 0x0307, true}, // COMBINING DOT ABOVE
    {'E', 0xE8, 0x0308, true}, // COMBINING DIAERESIS
    {'E', 0xE9, 0x030C, true}, // COMBINING CARON
    {'E', 0xEA, 0x030A, true}, // COMBINING RING ABOVE
    {'E', 0xEB, 0xFE20, true}, // COMBINING LIGATURE LEFT HALF
    {'E', 0xEC, 0xFE21, true}, // COMBINING LIGATURE RIGHT HALF
    {'E', 0xED, 0x0315, true}, // COMBINING COMMA ABOVE RIGHT
    {'E', 0xEE, 0x030B, true}, // COMBINING DOUBLE ACUTE ACCENT
    {'E', 0xEF, 0x0310, true}, // COMBINING CANDRABINDU
    {'E', 0xF0, 0x0327, true}, // COMBINING CEDILLA
    {'E', 0xF1, 0x0328, true}, // COMBINING OGONEK
    {'E', 0xF2, 0x0323, true}, // COMBINING DOT BELOW
    {'E', 0xF3, 0x0324, true}, // COMBINING DIAERESIS BELOW
    {'E', 0xF4, 0x0325, true}, // COMBINING RING BELOW
    {'E', 0xF5, 0x0333, true}, // COMBINING DOUBLE LOW LINE
    {'E', 0xF6, 0x0332, true}, // COMBINING LOW LINE
    {'E', 0xF7, 0x0326, true}, // COMBINING COMMA BELOW
    {'E', 0xF8, 0x031C, true}, // COMBINING LEFT HALF RING BELOW
    {'E', 0xF9, 0x032E, true}, // COMBINING BREVE BELOW
    {'E', 0xFA, 0xFE22, true}, // COMBINING DOUBLE TILDE LEFT HALF
    {'E', 0xFB, 0xFE23, true}, // COMBINING DOUBLE TILDE RIGHT HALF
    {'E', 0xFE, 0x0313, true}, // COMBINING COMMA ABOVE
    // Subscripts (ESC b)
    {'b', 0x28, 0x208D, false}, // SUBSCRIPT LEFT PARENTHESIS
    {'b', 0x29, 0x208E, false}, // SUBSCRIPT RIGHT PARENTHESIS
    {'b', 0x2B, 0x208A, false}, // SUBSCRIPT PLUS SIGN
    {'b', 0x2D, 0x208B, false}, // SUBSCRIPT MINUS
    {'b', 0x30, 0x2080, false}, // SUBSCRIPT ZERO
    {'b', 0x31, 0x2081, false}, // SUBSCRIPT ONE
    {'b', 0x32, 0x2082, false}, // SUBSCRIPT TWO
    {'b', 0x33, 0x2083, false}, // SUBSCRIPT THREE
    {'b', 0x34, 0x2084, false}, // SUBSCRIPT FOUR
    {'b', 0x35, 0x2085, false}, // SUBSCRIPT FIVE
    {'b', 0x36, 0x2086, false}, // SUBSCRIPT SIX
    {'b', 0x37, 0x2087, false}, // SUBSCRIPT SEVEN
    {'b', 0x38, 0x2088, false}, // SUBSCRIPT EIGHT
    {'b', 0x39, 0x2089, false}, // SUBSCRIPT NINE
    // Superscripts (ESC p)
    {'p', 0x28, 0x207D, false}, // SUPERSCRIPT LEFT PARENTHESIS
    {'p', 0x29, 0x207E, false}, // SUPERSCRIPT RIGHT PARENTHESIS
    {'p', 0x2B, 0x207A, false}, // SUPERSCRIPT PLUS SIGN
    {'p', 0x2D, 0x207B, false}, // SUPERSCRIPT MINUS
    {'p', 0x30, 0x2070, false}, // SUPERSCRIPT ZERO
    {'p', 0x31, 0x00B9, false}, // SUPERSCRIPT ONE
    {'p', 0x32, 0x00B2, false}, // SUPERSCRIPT TWO
    {'p', 0x33, 0x00B3, false}, // SUPERSCRIPT THREE
    {'p', 0x34, 0x2074, false}, // SUPERSCRIPT FOUR
    {'p', 0x35, 0x2075, false}, // SUPERSCRIPT FIVE
    {'p', 0x36, 0x2076, false}, // SUPERSCRIPT SIX
    {'p', 0x37, 0x2077, false}, // SUPERSCRIPT SEVEN
    {'p', 0x38, 0x2078, false}, // SUPERSCRIPT EIGHT
    {'p', 0x39, 0x2079, false}, // SUPERSCRIPT NINE
    // Greek symbols (ESC g)
    {'g', 0x61, 0x03B1, false}, // GREEK SMALL LETTER ALPHA
    {'g', 0x62, 0x03B2, false}, // GREEK SMALL LETTER BETA
    {'g', 0x63, 0x03B3, false}, // GREEK SMALL LETTER GAMMA
    // Basic Cyrillic (ESC ( N)
    {'N', 0x21, 0x0021, false}, // EXCLAMATION MARK
    {'N', 0x22, 0x0022, false}, // QUOTATION MARK
    {'N', 0x23, 0x0023, false}, // NUMBER SIGN
    {'N', 0x24, 0x0024, false}, // DOLLAR SIGN
    {'N', 0x25, 0x0025, false}, // PERCENT SIGN
    {'N', 0x26, 0x0026, false}, // AMPERSAND
    {'N', 0x27, 0x0027, false}, // APOSTROPHE
    {'N', 0x28, 0x0028, false}, // LEFT PARENTHESIS
    {'N', 0x29, 0x0029, false}, // RIGHT PARENTHESIS
    {'N', 0x2A, 0x002A, false}, // ASTERISK
    {'N', 0x2B, 0x002B, false}, // PLUS SIGN
    {'N', 0x2C, 0x002C, false}, // COMMA
    {'N', 0x2D, 0x002D, false}, // HYPHEN-MINUS
    {'N', 0x2E, 0x002E, false}, // FULL STOP
    {'N', 0x2F, 0x002F, false}, // SOLIDUS
    {'N', 0x30, 0x0030, false}, // DIGIT ZERO
    {'N', 0x31, 0x0031, false}, // DIGIT ONE
    {'N', 0x32, 0x0032, false}, // DIGIT TWO
    {'N', 0x33, 0x0033, false}, // DIGIT THREE
    {'N', 0x34, 0x0034, false}, // DIGIT FOUR
    {'N', 0x35, 0x0035, false}, // DIGIT FIVE
    {'N', 0x36, 0x0036, false}, // DIGIT SIX
    {'N', 0x37, 0x0037, false}, // DIGIT SEVEN
    {'N', 0x38, 0x0038, false}, // DIGIT EIGHT
    {'N', 0x39, 0x0039, false}, // DIGIT NINE
    {'N', 0x3A, 0x003A, false}, // COLON
    {'N', 0x3B, 0x003B, false}, // SEMICOLON
    {'N', 0x3C, 0x003C, false}, // LESS-THAN SIGN
    {'N', 0x3D, 0x003D, false}, // EQUALS SIGN
    {'N', 0x3E, 0x003E, false}, // GREATER-THAN SIGN
    {'N', 0x3F, 0x003F, false}, // QUESTION MARK
    {'N', 0x40, 0x044E, false}, // CYRILLIC SMALL LETTER YU
    {'N', 0x41, 0x0430, false}, // CYRILLIC SMALL LETTER A
    {'N', 0x42, 0x0431, false}, // CYRILLIC SMALL LETTER BE
    {'N', 0x43, 0x0446, false}, // CYRILLIC SMALL LETTER TSE
    {'N', 0x44, 0x0434, false}, // CYRILLIC SMALL LETTER DE
    {'N', 0x45, 0x0435, false}, // CYRILLIC SMALL LETTER IE
    {'N', 0x46, 0x0444, false}, // CYRILLIC SMALL LETTER EF
    {'N', 0x47, 0x0433, false}, // CYRILLIC SMALL LETTER GHE
    {'N', 0x48, 0x0445, false}, // CYRILLIC SMALL LETTER HA
    {'N', 0x49, 0x0438, false}, // CYRILLIC SMALL LETTER I
    {'N', 0x4A, 0x0439, false}, // CYRILLIC SMALL LETTER SHORT I
    {'N', 0x4B, 0x043A, false}, // CYRILLIC SMALL LETTER KA
    {'N', 0x4C, 0x043B, false}, // CYRILLIC SMALL LETTER EL
    {'N', 0x4D, 0x043C, false}, // CYRILLIC SMALL LETTER EM
    {'N', 0x4E, 0x043D, false}, // CYRILLIC SMALL LETTER EN
    {'N', 0x4F, 0x043E, false}, // CYRILLIC SMALL LETTER O
    {'N', 0x50, 0x043F, false}, // CYRILLIC SMALL LETTER PE
    {'N', 0x51, 0x044F, false}, // CYRILLIC SMALL LETTER YA
    {'N', 0x52, 0x0440, false}, // CYRILLIC SMALL LETTER ER
    {'N', 0x53, 0x0441, false}, // CYRILLIC SMALL LETTER ES
    {'N', 0x54, 0x0442, false}, // CYRILLIC SMALL LETTER TE
    {'N', 0x55, 0x0443, false}, // CYRILLIC SMALL LETTER U
    {'N', 0x56, 0x0436, false}, // CYRILLIC SMALL LETTER ZHE
    {'N', 0x57, 0x0432, false}, // CYRILLIC SMALL LETTER VE
    {'N', 0x58, 0x044C, false}, // CYRILLIC SMALL LETTER SOFT SIGN
    {'N', 0x59, 0x044B, false}, // CYRILLIC SMALL LETTER YERU
    {'N', 0x5A, 0x0437, false}, // CYRILLIC SMALL LETTER ZE
    {'N', 0x5B, 0x0448, false}, // CYRILLIC SMALL LETTER SHA
    {'N', 0x5C, 0x044D, false}, // CYRILLIC SMALL LETTER E
    {'N', 0x5D, 0x0449, false}, // CYRILLIC SMALL LETTER SHCHA
    {'N', 0x5E, 0x0447, false}, // CYRILLIC SMALL LETTER CHE
    {'N', 0x5F, 0x044A, false}, // CYRILLIC SMALL LETTER HARD SIGN
    {'N', 0x60, 0x042E, false}, // CYRILLIC CAPITAL LETTER YU
    {'N', 0x61, 0x0410, false}, // CYRILLIC CAPITAL LETTER A
    {'N', 0x62, 0x0411, false}, // CYRILLIC CAPITAL LETTER BE
    {'N', 0x63, 0x0426, false}, // CYRILLIC CAPITAL LETTER TSE
    {'N', 0x64, 0x0414, false}, // CYRILLIC CAPITAL LETTER DE
    {'N', 0x65, 0x0415, false}, // CYRILLIC CAPITAL LETTER IE
    {'N', 0x66, 0x0424, false}, // CYRILLIC CAPITAL LETTER EF
    {'N', 0x67, 0x0413, false}, // CYRILLIC CAPITAL LETTER GHE
    {'N', 0x68, 0x0425, false}, // CYRILLIC CAPITAL LETTER HA
    {'N', 0x69, 0x0418, false}, // CYRILLIC CAPITAL LETTER I
    {'N', 0x6A, 0x0419, false}, // CYRILLIC CAPITAL LETTER SHORT I
    {'N', 0x6B, 0x041A, false}, // CYRILLIC CAPITAL LETTER KA
    {'N', 0x6C, 0x041B, false}, // CYRILLIC CAPITAL LETTER EL
    {'N', 0x6D, 0x041C, false}, // CYRILLIC CAPITAL LETTER EM
    {'N', 0x6E, 0x041D, false}, // CYRILLIC CAPITAL LETTER EN
    {'N', 0x6F, 0x041E, false}, // CYRILLIC CAPITAL LETTER O
    {'N', 0x70, 0x041F, false}, // CYRILLIC CAPITAL LETTER PE
    {'N', 0x71, 0x042F, false}, // CYRILLIC CAPITAL LETTER YA
    {'N', 0x72, 0x0420, false}, // CYRILLIC CAPITAL LETTER ER
    {'N', 0x73, 0x0421, false}, // CYRILLIC CAPITAL LETTER ES
    {'N', 0x74, 0x0422, false}, // CYRILLIC CAPITAL LETTER TE
    {'N', 0x75, 0x0423, false}, // CYRILLIC CAPITAL LETTER U
    {'N', 0x76, 0x0416, false}, // CYRILLIC CAPITAL LETTER ZHE
    {'N', 0x77, 0x0412, false}, // CYRILLIC CAPITAL LETTER VE
    {'N', 0x78, 0x042C, false}, // CYRILLIC CAPITAL LETTER SOFT SIGN
    {'N', 0x79, 0x042B, false}, // CYRILLIC CAPITAL LETTER YERU
    {'N', 0x7A, 0x0417, false}, // CYRILLIC CAPITAL LETTER ZE
    {'N', 0x7B, 0x0428, false}, // CYRILLIC CAPITAL LETTER SHA
    {'N', 0x7C, 0x042D, false}, // CYRILLIC CAPITAL LETTER E
    {'N', 0x7D, 0x0429, false}, // CYRILLIC CAPITAL LETTER SHCHA
    {'N', 0x7E, 0x0427, false}, // CYRILLIC CAPITAL LETTER CHE
    // Extended Cyrillic (ESC ) Q)
    {'Q', 0xC0, 0x0491, false}, // CYRILLIC SMALL LETTER GHE WITH UPTURN
    {'Q', 0xC1, 0x0452, false}, // CYRILLIC SMALL LETTER DJE
    {'Q', 0xC2, 0x0453, false}, // CYRILLIC SMALL LETTER GJE
    {'Q', 0xC3, 0x0454, false}, // CYRILLIC SMALL LETTER UKRAINIAN IE
    {'Q', 0xC4, 0x0451, false}, // CYRILLIC SMALL LETTER IO
    {'Q', 0xC5, 0x0455, false}, // CYRILLIC SMALL LETTER DZE
    {'Q', 0xC6, 0x0456, false}, // CYRILLIC SMALL LETTER BYELORUSSIAN-UKRAINIAN I
    {'Q', 0xC7, 0x0457, false}, // CYRILLIC SMALL LETTER YI
    {'Q', 0xC8, 0x0458, false}, // CYRILLIC SMALL LETTER JE
    {'Q', 0xC9, 0x0459, false}, // CYRILLIC SMALL LETTER LJE
    {'Q', 0xCA, 0x045A, false}, // CYRILLIC SMALL LETTER NJE
    {'Q', 0xCB, 0x045B, false}, // CYRILLIC SMALL LETTER TSHE
    {'Q', 0xCC, 0x045C, false}, // CYRILLIC SMALL LETTER KJE
    {'Q', 0xCD, 0x045E, false}, // CYRILLIC SMALL LETTER SHORT U
    {'Q', 0xCE, 0x045F, false}, // CYRILLIC SMALL LETTER DZHE
    {'Q', 0xD0, 0x0463, false}, // CYRILLIC SMALL LETTER YAT
    {'Q', 0xD1, 0x0473, false}, // CYRILLIC SMALL LETTER FITA
    {'Q', 0xD2, 0x0475, false}, // CYRILLIC SMALL LETTER IZHITSA
    {'Q', 0xD3, 0x046B, false}, // CYRILLIC SMALL LETTER BIG YUS
    {'Q', 0xDB, 0x005B, false}, // LEFT SQUARE BRACKET
    {'Q', 0xDD, 0x005D, false}, // RIGHT SQUARE BRACKET
    {'Q', 0xDF, 0x005F, false}, // LOW LINE
    {'Q', 0xE0, 0x0490, false}, // CYRILLIC CAPITAL LETTER GHE WITH UPTURN
    {'Q', 0xE1, 0x0402, false}, // CYRILLIC CAPITAL LETTER DJE
    {'Q', 0xE2, 0x0403, false}, // CYRILLIC CAPITAL LETTER GJE
    {'Q', 0xE3, 0x0404, false}, // CYRILLIC CAPITAL LETTER UKRAINIAN IE
    {'Q', 0xE4, 0x0401, false}, // CYRILLIC CAPITAL LETTER IO
    {'Q', 0xE5, 0x0405, false}, // CYRILLIC CAPITAL LETTER DZE
    {'Q', 0xE6, 0x0406, false}, // CYRILLIC CAPITAL LETTER BYELORUSSIAN-UKRAINIAN I
    {'Q', 0xE7, 0x0407, false}, // CYRILLIC CAPITAL LETTER YI
    {'Q', 0xE8, 0x0408, false}, // CYRILLIC CAPITAL LETTER JE
    {'Q', 0xE9, 0x0409, false}, // CYRILLIC CAPITAL LETTER LJE
    {'Q', 0xEA, 0x040A, false}, // CYRILLIC CAPITAL LETTER NJE
    {'Q', 0xEB, 0x040B, false}, // CYRILLIC CAPITAL LETTER TSHE
    {'Q', 0xEC, 0x040C, false}, // CYRILLIC CAPITAL LETTER KJE
    {'Q', 0xED, 0x040E, false}, // CYRILLIC CAPITAL LETTER SHORT U
    {'Q', 0xEE, 0x040F, false}, // CYRILLIC CAPITAL LETTER DZHE
    {'Q', 0xEF, 0x042A, false}, // CYRILLIC CAPITAL LETTER HARD SIGN
    {'Q', 0xF0, 0x0462, false}, // CYRILLIC CAPITAL LETTER YAT
    {'Q', 0xF1, 0x0472, false}, // CYRILLIC CAPITAL LETTER FITA
    {'Q', 0xF2, 0x0474, false}, // CYRILLIC CAPITAL LETTER IZHITSA
    {'Q', 0xF3, 0x046A, false}, // CYRILLIC CAPITAL LETTER BIG YUS
    // Basic Greek (ESC ( S)
    {'S', 0x21, 0x0300, true}, // COMBINING GRAVE ACCENT
    {'S', 0x22, 0x0301, true}, // COMBINING ACUTE ACCENT
    {'S', 0x23, 0x0308, true}, // COMBINING DIAERESIS
    {'S', 0x24, 0x0342, true}, // COMBINING GREEK PERISPOMENI
    {'S', 0x25, 0x0313, true}, // COMBINING COMMA ABOVE
    {'S', 0x26, 0x0314, true}, // COMBINING REVERSED COMMA ABOVE
    {'S', 0x27, 0x0345, true}, // COMBINING GREEK YPOGEGRAMMENI
    {'S', 0x30, 0x00AB, false}, // LEFT-POINTING DOUBLE ANGLE QUOTATION MARK
    {'S', 0x31, 0x00BB, false}, // RIGHT-POINTING DOUBLE ANGLE QUOTATION MARK
    {'S', 0x32, 0x201D, false}, // RIGHT DOUBLE QUOTATION MARK
    {'S', 0x33, 0x201C, false}, // LEFT DOUBLE QUOTATION MARK
    {'S', 0x34, 0x0374, false}, // GREEK NUMERAL SIGN
    {'S', 0x35, 0x0375, false}, // GREEK LOWER NUMERAL SIGN
    {'S', 0x3B, 0x0387, false}, // GREEK ANO TELEIA
    {'S', 0x3F, 0x037E, false}, // GREEK QUESTION MARK
    {'S', 0x41, 0x0391, false}, // GREEK CAPITAL LETTER ALPHA
    {'S', 0x42, 0x0392, false}, // GREEK CAPITAL LETTER BETA
    {'S', 0x44, 0x0393, false}, // GREEK CAPITAL LETTER GAMMA
    {'S', 0x45, 0x0394, false}, // GREEK CAPITAL LETTER DELTA
    {'S', 0x46, 0x0395, false}, // GREEK CAPITAL LETTER EPSILON
    {'S', 0x47, 0x03DA, false}, // GREEK LETTER STIGMA
    {'S', 0x48, 0x03DC, false}, // GREEK LETTER DIGAMMA
    {'S', 0x49, 0x0396, false}, // GREEK CAPITAL LETTER ZETA
    {'S', 0x4A, 0x0397, false}, // GREEK CAPITAL LETTER ETA
    {'S', 0x4B, 0x0398, false}, // GREEK CAPITAL LETTER THETA
    {'S', 0x4C, 0x0399, false}, // GREEK CAPITAL LETTER IOTA
    {'S', 0x4D, 0x039A, false}, // GREEK CAPITAL LETTER KAPPA
    {'S', 0x4E, 0x039B, false}, // GREEK CAPITAL LETTER LAMDA
    {'S', 0x4F, 0x039C, false}, // GREEK CAPITAL LETTER MU
    {'S', 0x50, 0x039D, false}, // GREEK CAPITAL LETTER NU
    {'S', 0x51, 0x039E, false}, // GREEK CAPITAL LETTER XI
    {'S', 0x52, 0x039F, false}, // GREEK CAPITAL LETTER OMICRON
    {'S', 0x53, 0x03A0, false}, // GREEK CAPITAL LETTER PI
    {'S', 0x54, 0x03DE, false}, // GREEK LETTER KOPPA
    {'S', 0x55, 0x03A1, false}, // GREEK CAPITAL LETTER RHO
    {'S', 0x56, 0x03A3, false}, // GREEK CAPITAL LETTER SIGMA
    {'S', 0x58, 0x03A4, false}, // GREEK CAPITAL LETTER TAU
    {'S', 0x59, 0x03A5, false}, // GREEK CAPITAL LETTER UPSILON
    {'S', 0x5A, 0x03A6, false}, // GREEK CAPITAL LETTER PHI
    {'S', 0x5B, 0x03A7, false}, // GREEK CAPITAL LETTER CHI
    {'S', 0x5C, 0x03A8, false}, // GREEK CAPITAL LETTER PSI
    {'S', 0x5D, 0x03A9, false}, // GREEK CAPITAL LETTER OMEGA
    {'S', 0x5E, 0x03E0, false}, // GREEK LETTER SAMPI
    {'S', 0x61, 0x03B1, false}, // GREEK SMALL LETTER ALPHA
    {'S', 0x62, 0x03B2, false}, // GREEK SMALL LETTER BETA
    {'S', 0x63, 0x03D0, false}, // GREEK BETA SYMBOL
    {'S', 0x64, 0x03B3, false}, // GREEK SMALL LETTER GAMMA
    {'S', 0x65, 0x03B4, false}, // GREEK SMALL LETTER DELTA
    {'S', 0x66, 0x03B5, false}, // GREEK SMALL LETTER EPSILON
    {'S', 0x67, 0x03DB, false}, // GREEK SMALL LETTER STIGMA
    {'S', 0x68, 0x03DD, false}, // GREEK SMALL LETTER DIGAMMA
    {'S', 0x69, 0x03B6, false}, // GREEK SMALL LETTER ZETA
    {'S', 0x6A, 0x03B7, false}, // GREEK SMALL LETTER ETA
    {'S', 0x6B, 0x03B8, false}, // GREEK SMALL LETTER THETA
    {'S', 0x6C, 0x03B9, false}, // GREEK SMALL LETTER IOTA
    {'S', 0x6D, 0x03BA, false}, // GREEK SMALL LETTER KAPPA
    {'S', 0x6E, 0x03BB, false}, // GREEK SMALL LETTER LAMDA
    {'S', 0x6F, 0x03BC, false}, // GREEK SMALL LETTER MU
    {'S', 0x70, 0x03BD, false}, // GREEK SMALL LETTER NU
    {'S', 0x71, 0x03BE, false}, // GREEK SMALL LETTER XI
    {'S', 0x72, 0x03BF, false}, // GREEK SMALL LETTER OMICRON
    {'S', 0x73, 0x03C0, false}, // GREEK SMALL LETTER PI
    {'S', 0x74, 0x03DF, false}, // GREEK SMALL LETTER KOPPA
    {'S', 0x75, 0x03C1, false}, // GREEK SMALL LETTER RHO
    {'S', 0x76, 0x03C3, false}, // GREEK SMALL LETTER SIGMA
    {'S', 0x77, 0x03C2, false}, // GREEK SMALL LETTER FINAL SIGMA
    {'S', 0x78, 0x03C4, false}, // GREEK SMALL LETTER TAU
    {'S', 0x79, 0x03C5, false}, // GREEK SMALL LETTER UPSILON
    {'S', 0x7A, 0x03C6, false}, // GREEK SMALL LETTER PHI
    {'S', 0x7B, 0x03C7, false}, // GREEK SMALL LETTER CHI
    {'S', 0x7C, 0x03C8, false}, // GREEK SMALL LETTER PSI
    {'S', 0x7D, 0x03C9, false}, // GREEK SMALL LETTER OMEGA
    {'S', 0x7E, 0x03E1, false}, // GREEK SMALL LETTER SAMPI
    // Basic Hebrew (ESC ( 2)
    {'2', 0x21, 0x0021, false}, // EXCLAMATION MARK
    {'2', 0x22, 0x0022, false}, // QUOTATION MARK
    {'2', 0x23, 0x0023, false}, // NUMBER SIGN
    {'2', 0x24, 0x0024, false}, // DOLLAR SIGN
    {'2', 0x25, 0x0025, false}, // PERCENT SIGN
    {'2', 0x26, 0x0026, false}, // AMPERSAND
    {'2', 0x27, 0x0027, false}, // APOSTROPHE
    {'2', 0x28, 0x0028, false}, // LEFT PARENTHESIS
    {'2', 0x29, 0x0029, false}, // RIGHT PARENTHESIS
    {'2', 0x2A, 0x002A, false}, // ASTERISK
    {'2', 0x2B, 0x002B, false}, // PLUS SIGN
    {'2', 0x2C, 0x002C, false}, // COMMA
    {'2', 0x2D, 0x05BE, false}, // HEBREW PUNCTUATION MAQAF
    {'2', 0x2E, 0x002E, false}, // FULL STOP
    {'2', 0x2F, 0x002F, false}, // SOLIDUS
    {'2', 0x30, 0x0030, false}, // DIGIT ZERO
    {'2', 0x31, 0x0031, false}, // DIGIT ONE
    {'2', 0x32, 0x0032, false}, // DIGIT TWO
    {'2', 0x33, 0x0033, false}, // DIGIT THREE
    {'2', 0x34, 0x0034, false}, // DIGIT FOUR
    {'2', 0x35, 0x0035, false}, // DIGIT FIVE
    {'2', 0x36, 0x0036, false}, // DIGIT SIX
    {'2', 0x37, 0x0037, false}, // DIGIT SEVEN
    {'2', 0x38, 0x0038, false}, // DIGIT EIGHT
    {'2', 0x39, 0x0039, false}, // DIGIT NINE
    {'2', 0x3A, 0x003A, false}, // COLON
    {'2', 0x3B, 0x003B, false}, // SEMICOLON
    {'2', 0x3C, 0x003C, false}, // LESS-THAN SIGN
    {'2', 0x3D, 0x003D, false}, // EQUALS SIGN
    {'2', 0x3E, 0x003E, false}, // GREATER-THAN SIGN
    {'2', 0x3F, 0x003F, false}, // QUESTION MARK
    {'2', 0x40, 0x05B7, true}, // HEBREW POINT PATAH
    {'2', 0x41, 0x05B8, true}, // HEBREW POINT QAMATS
    {'2', 0x42, 0x05B6, true}, // HEBREW POINT SEGOL
    {'2', 0x43, 0x05B5, true}, // HEBREW POINT TSERE
    {'2', 0x44, 0x05B4, true}, // HEBREW POINT HIRIQ
    {'2', 0x45, 0x05B9, true}, // HEBREW POINT HOLAM
    {'2', 0x46, 0x05BB, true}, // HEBREW POINT QUBUTS
    {'2', 0x47, 0x05B0, true}, // HEBREW POINT SHEVA
    {'2', 0x48, 0x05B2, true}, // HEBREW POINT HATAF PATAH
    {'2', 0x49, 0x05B3, true}, // HEBREW POINT HATAF QAMATS
    {'2', 0x4A, 0x05B1, true}, // HEBREW POINT HATAF SEGOL
    {'2', 0x4B, 0x05BC, true}, // HEBREW POINT DAGESH OR MAPIQ
    {'2', 0x4C, 0x05BF, true}, // HEBREW POINT RAFE
    {'2', 0x4D, 0x05C1, true}, // HEBREW POINT SHIN DOT
    {'2', 0x4E, 0xFB1E, true}, // HEBREW POINT JUDEO-SPANISH VARIKA
    {'2', 0x5B, 0x005B, false}, // LEFT SQUARE BRACKET
    {'2', 0x5D, 0x005D, false}, // RIGHT SQUARE BRACKET
    {'2', 0x60, 0x05D0, false}, // HEBREW LETTER ALEF
    {'2', 0x61, 0x05D1, false}, // HEBREW LETTER BET
    {'2', 0x62, 0x05D2, false}, // HEBREW LETTER GIMEL
    {'2', 0x63, 0x05D3, false}, // HEBREW LETTER DALET
    {'2', 0x64, 0x05D4, false}, // HEBREW LETTER HE
    {'2', 0x65, 0x05D5, false}, // HEBREW LETTER VAV
    {'2', 0x66, 0x05D6, false}, // HEBREW LETTER ZAYIN
    {'2', 0x67, 0x05D7, false}, // HEBREW LETTER HET
    {'2', 0x68, 0x05D8, false}, // HEBREW LETTER TET
    {'2', 0x69, 0x05D9, false}, // HEBREW LETTER YOD
    {'2', 0x6A, 0x05DA, false}, // HEBREW LETTER FINAL KAF
    {'2', 0x6B, 0x05DB, false}, // HEBREW LETTER KAF
    {'2', 0x6C, 0x05DC, false}, // HEBREW LETTER LAMED
    {'2', 0x6D, 0x05DD, false}, // HEBREW LETTER FINAL MEM
    {'2', 0x6E, 0x05DE, false}, // HEBREW LETTER MEM
    {'2', 0x6F, 0x05DF, false}, // HEBREW LETTER FINAL NUN
    {'2', 0x70, 0x05E0, false}, // HEBREW LETTER NUN
    {'2', 0x71, 0x05E1, false}, // HEBREW LETTER SAMEKH
    {'2', 0x72, 0x05E2, false}, // HEBREW LETTER AYIN
    {'2', 0x73, 0x05E3, false}, // HEBREW LETTER FINAL PE
    {'2', 0x74, 0x05E4, false}, // HEBREW LETTER PE
    {'2', 0x75, 0x05E5, false}, // HEBREW LETTER FINAL TSADI
    {'2', 0x76, 0x05E6, false}, // HEBREW LETTER TSADI
    {'2', 0x77, 0x05E7, false}, // HEBREW LETTER QOF
    {'2', 0x78, 0x05E8, false}, // HEBREW LETTER RESH
    {'2', 0x79, 0x05E9, false}, // HEBREW LETTER SHIN
    {'2', 0x7A, 0x05EA, false}, // HEBREW LETTER TAV
    {'2', 0x7B, 0x05F0, false}, // HEBREW LIGATURE YIDDISH DOUBLE VAV
    {'2', 0x7C, 0x05F1, false}, // HEBREW LIGATURE YIDDISH VAV YOD
    {'2', 0x7D, 0x05F2, false}, // HEBREW LIGATURE YIDDISH DOUBLE YOD
    // Basic Arabic (ESC ( 3)
    {'3', 0x21, 0x0021, false}, // EXCLAMATION MARK
    {'3', 0x22, 0x0022, false}, // QUOTATION MARK
    {'3', 0x23, 0x0023, false}, // NUMBER SIGN
    {'3', 0x24, 0x0024, false}, // DOLLAR SIGN
    {'3', 0x25, 0x066A, false}, // ARABIC PERCENT SIGN
    {'3', 0x26, 0x0026, false}, // AMPERSAND
    {'3', 0x27, 0x0027, false}, // APOSTROPHE
    {'3', 0x28, 0x0028, false}, // LEFT PARENTHESIS
    {'3', 0x29, 0x0029, false}, // RIGHT PARENTHESIS
    {'3', 0x2A, 0x066D, false}, // ARABIC FIVE POINTED STAR
    {'3', 0x2B, 0x002B, false}, // PLUS SIGN
    {'3', 0x2C, 0x060C, false}, // ARABIC COMMA
    {'3', 0x2D, 0x002D, false}, // HYPHEN-MINUS
    {'3', 0x2E, 0x002E, false}, // FULL STOP
    {'3', 0x2F, 0x002F, false}, // SOLIDUS
    {'3', 0x30, 0x0660, false}, // ARABIC-INDIC DIGIT ZERO
    {'3', 0x31, 0x0661, false}, // ARABIC-INDIC DIGIT ONE
    {'3', 0x32, 0x0662, false}, // ARABIC-INDIC DIGIT TWO
    {'3', 0x33, 0x0663, false}, // ARABIC-INDIC DIGIT THREE
    {'3', 0x34, 0x0664, false}, // ARABIC-INDIC DIGIT FOUR
    {'3', 0x35, 0x0665, false}, // ARABIC-INDIC DIGIT FIVE
    {'3', 0x36, 0x0666, false}, // ARABIC-INDIC DIGIT SIX
    {'3', 0x37, 0x0667, false}, // ARABIC-INDIC DIGIT SEVEN
    {'3', 0x38, 0x0668, false}, // ARABIC-INDIC DIGIT EIGHT
    {'3', 0x39, 0x0669, false}, // ARABIC-INDIC DIGIT NINE
    {'3', 0x3A, 0x003A, false}, // COLON
    {'3', 0x3B, 0x061B, false}, // ARABIC SEMICOLON
    {'3', 0x3C, 0x003C, false}, // LESS-THAN SIGN
    {'3', 0x3D, 0x003D, false}, // EQUALS SIGN
    {'3', 0x3E, 0x003E, false}, // GREATER-THAN SIGN
    {'3', 0x3F, 0x061F, false}, // ARABIC QUESTION MARK
    {'3', 0x41, 0x0621, false}, // ARABIC LETTER HAMZA
    {'3', 0x42, 0x0622, false}, // ARABIC LETTER ALEF WITH MADDA ABOVE
    {'3', 0x43, 0x0623, false}, // ARABIC LETTER ALEF WITH HAMZA ABOVE
    {'3', 0x44, 0x0624, false}, // ARABIC LETTER WAW WITH HAMZA ABOVE
    {'3', 0x45, 0x0625, false}, // ARABIC LETTER ALEF WITH HAMZA BELOW
    {'3', 0x46, 0x0626, false}, // ARABIC LETTER YEH WITH HAMZA ABOVE
    {'3', 0x47, 0x0627, false}, // ARABIC LETTER ALEF
    {'3', 0x48, 0x0628, false}, // ARABIC LETTER BEH
    {'3', 0x49, 0x0629, false}, // ARABIC LETTER TEH MARBUTA
    {'3', 0x4A, 0x062A, false}, // ARABIC LETTER TEH
    {'3', 0x4B, 0x062B, false}, // ARABIC LETTER THEH
    {'3', 0x4C, 0x062C, false}, // ARABIC LETTER JEEM
    {'3', 0x4D, 0x062D, false}, // ARABIC LETTER HAH
    {'3', 0x4E, 0x062E, false}, // ARABIC LETTER KHAH
    {'3', 0x4F, 0x062F, false}, // ARABIC LETTER DAL
    {'3', 0x50, 0x0630, false}, // ARABIC LETTER THAL
    {'3', 0x51, 0x0631, false}, // ARABIC LETTER REH
    {'3', 0x52, 0x0632, false}, // ARABIC LETTER ZAIN
    {'3', 0x53, 0x0633, false}, // ARABIC LETTER SEEN
    {'3', 0x54, 0x0634, false}, // ARABIC LETTER SHEEN
    {'3', 0x55, 0x0635, false}, // ARABIC LETTER SAD
    {'3', 0x56, 0x0636, false}, // ARABIC LETTER DAD
    {'3', 0x57, 0x0637, false}, // ARABIC LETTER TAH
    {'3', 0x58, 0x0638, false}, // ARABIC LETTER ZAH
    {'3', 0x59, 0x0639, false}, // ARABIC LETTER AIN
    {'3', 0x5A, 0x063A, false}, // ARABIC LETTER GHAIN
    {'3', 0x5B, 0x005B, false}, // LEFT SQUARE BRACKET
    {'3', 0x5D, 0x005D, false}, // RIGHT SQUARE BRACKET
    {'3', 0x60, 0x0640, false}, // ARABIC TATWEEL
    {'3', 0x61, 0x0641, false}, // ARABIC LETTER FEH
    {'3', 0x62, 0x0642, false}, // ARABIC LETTER QAF
    {'3', 0x63, 0x0643, false}, // ARABIC LETTER KAF
    {'3', 0x64, 0x0644, false}, // ARABIC LETTER LAM
    {'3', 0x65, 0x0645, false}, // ARABIC LETTER MEEM
    {'3', 0x66, 0x0646, false}, // ARABIC LETTER NOON
    {'3', 0x67, 0x0647, false}, // ARABIC LETTER HEH
    {'3', 0x68, 0x0648, false}, // ARABIC LETTER WAW
    {'3', 0x69, 0x0649, false}, // ARABIC LETTER ALEF MAKSURA
    {'3', 0x6A, 0x064A, false}, // ARABIC LETTER YEH
    {'3', 0x6B, 0x064B, true}, // ARABIC FATHATAN
    {'3', 0x6C, 0x064C, true}, // ARABIC DAMMATAN
    {'3', 0x6D, 0x064D, true}, // ARABIC KASRATAN
    {'3', 0x6E, 0x064E, true}, // ARABIC FATHA
    {'3', 0x6F, 0x064F, true}, // ARABIC DAMMA
    {'3', 0x70, 0x0650, true}, // ARABIC KASRA
    {'3', 0x71, 0x0651, true}, // ARABIC SHADDA
    {'3', 0x72, 0x0652, true}, // ARABIC SUKUN
    {'3', 0x73, 0x0671, false}, // ARABIC LETTER ALEF WASLA
    {'3', 0x74, 0x0670, true}, // ARABIC LETTER SUPERSCRIPT ALEF
    {'3', 0x78, 0x066C, false}, // ARABIC THOUSANDS SEPARATOR
    {'3', 0x79, 0x201D, false}, // RIGHT DOUBLE QUOTATION MARK
    {'3', 0x7A, 0x201C, false}, // LEFT DOUBLE QUOTATION MARK
    // Extended Arabic (ESC ) 4)
    {'4', 0xA2, 0x0672, false}, // ARABIC LETTER ALEF WITH WAVY HAMZA ABOVE
    {'4', 0xA3, 0x0673, false}, // ARABIC LETTER ALEF WITH WAVY HAMZA BELOW
    {'4', 0xA4, 0x0679, false}, // ARABIC LETTER TTEH
    {'4', 0xA5, 0x067A, false}, // ARABIC LETTER TTEHEH
    {'4', 0xA6, 0x067B, false}, // ARABIC LETTER BEEH
    {'4', 0xA7, 0x067C, false}, // ARABIC LETTER TEH WITH RING
    {'4', 0xA8, 0x067D, false}, // ARABIC LETTER TEH WITH THREE DOTS ABOVE DOWNWARDS
    {'4', 0xA9, 0x067E, false}, // ARABIC LETTER PEH
    {'4', 0xAA, 0x067F, false}, // ARABIC LETTER TEHEH
    {'4', 0xAB, 0x0680, false}, // ARABIC LETTER BEHEH
    {'4', 0xAC, 0x0681, false}, // ARABIC LETTER HAH WITH HAMZA ABOVE
    {'4', 0xAD, 0x0682, false}, // ARABIC LETTER HAH WITH TWO DOTS VERTICAL ABOVE
    {'4', 0xAE, 0x0683, false}, // ARABIC LETTER NYEH
    {'4', 0xAF, 0x0684, false}, // ARABIC LETTER DYEH
    {'4', 0xB0, 0x0685, false}, // ARABIC LETTER HAH WITH THREE DOTS ABOVE
    {'4', 0xB1, 0x0686, false}, // ARABIC LETTER TCHEH
    {'4', 0xB2, 0x06BF, false}, // ARABIC LETTER TCHEH WITH DOT ABOVE
    {'4', 0xB3, 0x0687, false}, // ARABIC LETTER TCHEHEH
    {'4', 0xB4, 0x0688, false}, // ARABIC LETTER DDAL
    {'4', 0xB5, 0x0689, false}, // ARABIC LETTER DAL WITH RING
    {'4', 0xB6, 0x068A, false}, // ARABIC LETTER DAL WITH DOT BELOW
    {'4', 0xB7, 0x068B, false}, // ARABIC LETTER DAL WITH DOT BELOW AND SMALL TAH
    {'4', 0xB8, 0x068C, false}, // ARABIC LETTER DAHAL
    {'4', 0xB9, 0x068D, false}, // ARABIC LETTER DDAHAL
    {'4', 0xBA, 0x068E, false}, // ARABIC LETTER DUL
    {'4', 0xBB, 0x068F, false}, // ARABIC LETTER DAL WITH THREE DOTS ABOVE DOWNWARDS
    {'4', 0xBC, 0x0690, false}, // ARABIC LETTER DAL WITH FOUR DOTS ABOVE
    {'4', 0xBD, 0x0691, false}, // ARABIC LETTER RREH
    {'4', 0xBE, 0x0692, false}, // ARABIC LETTER REH WITH SMALL V
    {'4', 0xBF, 0x0693, false}, // ARABIC LETTER REH WITH RING
    {'4', 0xC0, 0x0694, false}, // ARABIC LETTER REH WITH DOT BELOW
    {'4', 0xC1, 0x0695, false}, // ARABIC LETTER REH WITH SMALL V BELOW
    {'4', 0xC2, 0x0696, false}, // ARABIC LETTER REH WITH DOT BELOW AND DOT ABOVE
    {'4', 0xC3, 0x0697, false}, // ARABIC LETTER REH WITH TWO DOTS ABOVE
    {'4', 0xC4, 0x0698, false}, // ARABIC LETTER JEH
    {'4', 0xC5, 0x0699, false}, // ARABIC LETTER REH WITH FOUR DOTS ABOVE
    {'4', 0xC6, 0x069A, false}, // ARABIC LETTER SEEN WITH DOT BELOW AND DOT ABOVE
    {'4', 0xC7, 0x069B, false}, // ARABIC LETTER SEEN WITH THREE DOTS BELOW
    {'4', 0xC8, 0x069C, false}, // ARABIC LETTER SEEN WITH THREE DOTS BELOW AND THREE DOTS ABOVE
    {'4', 0xC9, 0x069D, false}, // ARABIC LETTER SAD WITH TWO DOTS BELOW
    {'4', 0xCA, 0x069E, false}, // ARABIC LETTER SAD WITH THREE DOTS ABOVE
    {'4', 0xCB, 0x069F, false}, // ARABIC LETTER TAH WITH THREE DOTS ABOVE
    {'4', 0xCC, 0x06A0, false}, // ARABIC LETTER AIN WITH THREE DOTS ABOVE
    {'4', 0xCD, 0x06A1, false}, // ARABIC LETTER DOTLESS FEH
    {'4', 0xCE, 0x06A2, false}, // ARABIC LETTER FEH WITH DOT MOVED BELOW
    {'4', 0xCF, 0x06A3, false}, // ARABIC LETTER FEH WITH DOT BELOW
    {'4', 0xD0, 0x06A4, false}, // ARABIC LETTER VEH
    {'4', 0xD1, 0x06A5, false}, // ARABIC LETTER FEH WITH THREE DOTS BELOW
    {'4', 0xD2, 0x06A6, false}, // ARABIC LETTER PEHEH
    {'4', 0xD3, 0x06A7, false}, // ARABIC LETTER QAF WITH DOT ABOVE
    {'4', 0xD4, 0x06A8, false}, // ARABIC LETTER QAF WITH THREE DOTS ABOVE
    {'4', 0xD5, 0x06A9, false}, // ARABIC LETTER KEHEH
    {'4', 0xD6, 0x06AA, false}, // ARABIC LETTER SWASH KAF
    {'4', 0xD7, 0x06AB, false}, // ARABIC LETTER KAF WITH RING
    {'4', 0xD8, 0x06AC, false}, // ARABIC LETTER KAF WITH DOT ABOVE
    {'4', 0xD9, 0x06AD, false}, // ARABIC LETTER NG
    {'4', 0xDA, 0x06AE, false}, // ARABIC LETTER KAF WITH THREE DOTS BELOW
    {'4', 0xDB, 0x06AF, false}, // ARABIC LETTER GAF
    {'4', 0xDC, 0x06B0, false}, // ARABIC LETTER GAF WITH RING
    {'4', 0xDD, 0x06B1, false}, // ARABIC LETTER NGOEH
    {'4', 0xDE, 0x06B2, false}, // ARABIC LETTER GAF WITH TWO DOTS BELOW
    {'4', 0xDF, 0x06B3, false}, // ARABIC LETTER GUEH
    {'4', 0xE0, 0x06B4, false}, // ARABIC LETTER GAF WITH THREE DOTS ABOVE
    {'4', 0xE1, 0x06B5, false}, // ARABIC LETTER LAM WITH SMALL V
    {'4', 0xE2, 0x06B6, false}, // ARABIC LETTER LAM WITH DOT ABOVE
    {'4', 0xE3, 0x06B7, false}, // ARABIC LETTER LAM WITH THREE DOTS ABOVE
    {'4', 0xE4, 0x06B8, false}, // ARABIC LETTER LAM WITH THREE DOTS BELOW
    {'4', 0xE5, 0x06B9, false}, // ARABIC LETTER NOON WITH DOT BELOW
    {'4', 0xE6, 0x06BA, false}, // ARABIC LETTER NOON GHUNNA
    {'4', 0xE7, 0x06BB, false}, // ARABIC LETTER RNOON
    {'4', 0xE8, 0x06BC, false}, // ARABIC LETTER NOON WITH RING
    {'4', 0xE9, 0x06BD, false}, // ARABIC LETTER NOON WITH THREE DOTS ABOVE
    {'4', 0xEA, 0x06BE, false}, // ARABIC LETTER HEH DOACHASHMEE

};

const size_t kMarc8CharacterCount = sizeof kMarc8Characters / sizeof kMarc8Characters[0];
