// MARC-8 to UTF-8. A field starts with ASCII in G0 (octets 0x21-0x7E) and
// ANSEL in G1 (0xA1-0xFE); escape sequences designate other sets:
// ESC ( F or ESC , F for G0, ESC ) F or ESC - F for G1, with "$" first for a
// set of several octets a character (ESC $ 1 is the East Asian set), and
// the locking ESC g, ESC b, ESC p and ESC s (Greek symbols, subscripts,
// superscripts, back to ASCII) for G0.
#include "tools/distributor/marc8.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

const char kAscii = 'B';
const char kAnsel = 'E';
const uint32_t kReplacement = 0xFFFD;
const unsigned char kEscape = 0x1B;
// East Asian characters take three octets.
const size_t kMultibyteLength = 3;

struct Tables {
    std::map<std::pair<char, unsigned char>, const Marc8Character *> characters;
    std::set<char> sets;
};

const Tables &LoadedTables()
{
    static const Tables tables = [] {
        Tables loaded;
        for (size_t i = 0; i < kMarc8CharacterCount; ++i) {
            const Marc8Character &c = kMarc8Characters[i];
            loaded.characters[{c.set, static_cast<unsigned char>(c.code & 0x7F)}] = &c;
            loaded.sets.insert(c.set);
        }
        return loaded;
    }();
    return tables;
}

// A graphic set as designated: its final octet and whether a character takes several octets.
struct GraphicSet {
    char set;
    bool multibyte;
};

struct Converter {
    GraphicSet g0 = {kAscii, false};
    GraphicSet g1 = {kAnsel, false};
    std::vector<uint32_t> marks; // combining marks read, waiting for their base
    uint32_t right_half = 0;     // the right half that a double-width mark on the last base has made redundant
    std::string out;
};

// The double-width mark that a left half stands for, with its right half; {0, 0} for any other mark.
std::pair<uint32_t, uint32_t> DoubleWidthMark(uint32_t left_half)
{
    if (left_half == 0xFE20) // ligature left half: combining double inverted breve
        return {0x0361, 0xFE21};
    if (left_half == 0xFE22) // double tilde left half: combining double tilde
        return {0x0360, 0xFE23};
    return {0, 0};
}

void AddMark(Converter *c, uint32_t mark)
{
    if (c->right_half && mark == c->right_half) {
        c->right_half = 0;
        return;
    }
    c->marks.push_back(mark);
}

// Writes a base character and the marks read before it.
void AddBase(Converter *c, uint32_t base)
{
    c->right_half = 0;
    c->out += Utf8(base);
    for (uint32_t mark : c->marks) {
        std::pair<uint32_t, uint32_t> double_width = DoubleWidthMark(mark);
        if (double_width.first) {
            c->out += Utf8(double_width.first);
            c->right_half = double_width.second;
        } else {
            c->out += Utf8(mark);
        }
    }
    c->marks.clear();
}

// Marks with no base after them are written where they stand.
void FlushMarks(Converter *c)
{
    for (uint32_t mark : c->marks)
        c->out += Utf8(mark);
    c->marks.clear();
}

void AddCharacter(Converter *c, const Marc8Character *found)
{
    if (!found)
        AddBase(c, kReplacement);
    else if (found->combining)
        AddMark(c, found->ucs);
    else
        AddBase(c, found->ucs);
}

const Marc8Character *Lookup(char set, unsigned char octet)
{
    const Tables &tables = LoadedTables();
    auto found = tables.characters.find({set, static_cast<unsigned char>(octet & 0x7F)});
    return found == tables.characters.end() ? nullptr : found->second;
}

bool IsKnownSet(char set)
{
    return set == kAscii || LoadedTables().sets.count(set) != 0;
}

// Reads the escape sequence at `i`; returns the offset after it. A sequence
// it cannot follow leaves the sets alone and shows as U+FFFD in its place.
size_t ReadEscape(Converter *c, const std::string &text, size_t i)
{
    size_t next = i + 1;
    if (next < text.size() && (text[next] == 'g' || text[next] == 'b' || text[next] == 'p' || text[next] == 's')) {
        c->g0 = {text[next] == 's' ? kAscii : text[next], false};
        return next + 1;
    }
    std::string intermediates;
    while (next < text.size() && text[next] >= 0x20 && text[next] <= 0x2F)
        intermediates += text[next++];
    if (intermediates.empty() || next >= text.size() || text[next] < 0x30 || text[next] > 0x7E) {
        AddBase(c, kReplacement);
        return i + 1;
    }
    char final_octet = text[next];
    bool multibyte = intermediates[0] == '$';
    char designator = multibyte ? (intermediates.size() > 1 ? intermediates[1] : '(') : intermediates[0];
    if (designator == '(' || designator == ',')
        c->g0 = {final_octet, multibyte};
    else if (designator == ')' || designator == '-')
        c->g1 = {final_octet, multibyte};
    else
        AddBase(c, kReplacement);
    return next + 1;
}

bool IsGraphic(unsigned char octet, bool high)
{
    return high ? octet >= 0xA1 && octet <= 0xFE : octet >= 0x21 && octet <= 0x7E;
}

// Reads one character of G0 (`high` false) or G1 at `i`; returns the offset after it.
size_t ReadGraphic(Converter *c, const std::string &text, size_t i, bool high)
{
    const GraphicSet &set = high ? c->g1 : c->g0;
    unsigned char octet = static_cast<unsigned char>(text[i]);
    if (set.multibyte) {
        // No multi-octet set is known: one replacement a character.
        size_t end = i + 1;
        while (end < i + kMultibyteLength && end < text.size() && IsGraphic(static_cast<unsigned char>(text[end]), high))
            ++end;
        AddBase(c, kReplacement);
        return end;
    }
    if (!IsKnownSet(set.set))
        AddBase(c, kReplacement);
    else if (set.set == kAscii)
        AddBase(c, octet & 0x7F);
    else
        AddCharacter(c, Lookup(set.set, octet));
    return i + 1;
}

} // namespace

std::string Utf8(uint32_t code_point)
{
    std::string octets;
    if (code_point < 0x80) {
        octets += static_cast<char>(code_point);
    } else if (code_point < 0x800) {
        octets += static_cast<char>(0xC0 | code_point >> 6);
        octets += static_cast<char>(0x80 | (code_point & 0x3F));
    } else if (code_point < 0x10000) {
        octets += static_cast<char>(0xE0 | code_point >> 12);
        octets += static_cast<char>(0x80 | (code_point >> 6 & 0x3F));
        octets += static_cast<char>(0x80 | (code_point & 0x3F));
    } else {
        octets += static_cast<char>(0xF0 | code_point >> 18);
        octets += static_cast<char>(0x80 | (code_point >> 12 & 0x3F));
        octets += static_cast<char>(0x80 | (code_point >> 6 & 0x3F));
        octets += static_cast<char>(0x80 | (code_point & 0x3F));
    }
    return octets;
}

std::string Marc8ToUtf8(const std::string &text)
{
    Converter c;
    for (size_t i = 0; i < text.size();) {
        unsigned char octet = static_cast<unsigned char>(text[i]);
        if (octet == kEscape) {
            i = ReadEscape(&c, text, i);
        } else if (octet < 0x20) {
            FlushMarks(&c);
            c.out += text[i++];
        } else if (octet == 0x20) {
            AddBase(&c, ' ');
            ++i;
        } else if (octet >= 0x80 && octet <= 0x9F) {
            AddCharacter(&c, Lookup(kMarc8Controls, octet));
            ++i;
        } else if (IsGraphic(octet, false) || IsGraphic(octet, true)) {
            i = ReadGraphic(&c, text, i, octet >= 0x80);
        } else {
            AddBase(&c, kReplacement); // DEL, 0xA0 and 0xFF belong to no set
            ++i;
        }
    }
    FlushMarks(&c);
    return c.out;
}
