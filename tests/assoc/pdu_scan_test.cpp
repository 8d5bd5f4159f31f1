// The completeness walk: PDUs arriving in pieces of any size are found
// complete at their exact end, nothing past that end is ever asked for,
// the work stays linear, and absurd lengths are refused.
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "assoc/pdu_scan.h"

namespace {

using Octets = std::vector<unsigned char>;

const uint32_t kLimit = 1u << 24;

Octets Cat(std::initializer_list<Octets> parts)
{
    Octets all;
    for (const Octets &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Octets Length(size_t n)
{
    if (n < 0x80)
        return {static_cast<unsigned char>(n)};
    Octets octets;
    for (size_t v = n; v; v >>= 8)
        octets.insert(octets.begin(), static_cast<unsigned char>(v));
    octets.insert(octets.begin(), static_cast<unsigned char>(0x80 | octets.size()));
    return octets;
}

Octets Definite(Octets tag, const Octets &contents)
{
    return Cat({tag, Length(contents.size()), contents});
}

Octets Indefinite(Octets tag, const Octets &contents)
{
    return Cat({tag, {0x80}, contents, {0, 0}});
}

struct Delivery {
    PduScanResult result;
    uint32_t count;    // the size when complete
    size_t reads;      // pieces taken
    bool overread;     // asked for octets past the PDU's end
};

// Feeds the walk from pdu followed by foreign octets, at most `piece`
// octets a time and never more than it asks for, as a receive would.
Delivery Deliver(const Octets &pdu, size_t piece, uint32_t limit = kLimit)
{
    Octets stream = Cat({pdu, Octets(64, 0xEE)});
    PduScan scan = {0, 0, 0};
    Delivery d = {PDU_SCAN_MORE, 0, 0, false};
    uint32_t available = 0;
    for (;;) {
        uint32_t want = 0;
        d.result = PduScanStep(&scan, stream.data(), available, limit, &want);
        if (d.result != PDU_SCAN_MORE) {
            d.count = want;
            return d;
        }
        EXPECT_GT(want, 0u);
        if (available + want > pdu.size())
            d.overread = true;
        uint32_t take = static_cast<uint32_t>(std::min<size_t>({want, piece, stream.size() - available}));
        available += take;
        d.reads++;
        if (d.reads > 10 * stream.size())
            return d;
    }
}

// Random trees of definite and indefinite elements, short and long forms,
// low and high tag numbers, empty and nested, delivered in pieces of any
// size: the walk finds them complete at the end the codec finds.
Octets RandomElement(std::mt19937 &random, int depth)
{
    bool constructed = depth < 4 && random() % 3 != 0;
    Octets tag = random() % 4 == 0 ? Octets{static_cast<unsigned char>(constructed ? 0xBF : 0x9F), 0x81, 0x05}
                                   : Octets{static_cast<unsigned char>(constructed ? 0xA1 : 0x81)};
    if (!constructed)
        return Definite(tag, Octets(random() % 300, 0x5A));
    Octets contents;
    for (unsigned n = random() % 4; n > 0; n--)
        contents = Cat({contents, RandomElement(random, depth + 1)});
    return random() % 2 ? Indefinite(tag, contents) : Definite(tag, contents);
}

TEST(PduScan, AgreesWithTheCodecOnRandomTrees)
{
    std::mt19937 random(20240307);
    for (int i = 0; i < 300; i++) {
        Octets pdu = RandomElement(random, 0);
        uint32_t total = 0;
        ASSERT_EQ(PduLength(pdu.data(), static_cast<uint32_t>(pdu.size()), &total), 1);
        for (size_t piece : {size_t(1), size_t(1 + random() % 100), size_t(4096)}) {
            Delivery d = Deliver(pdu, piece);
            ASSERT_EQ(d.result, PDU_SCAN_COMPLETE) << piece;
            EXPECT_EQ(d.count, total);
            EXPECT_FALSE(d.overread);
        }
    }
}

TEST(PduScan, LargeIndefiniteResponsesTakeFewReads)
{
    // 1,000 records of 400 octets, indefinite lengths at every level
    // above them, as common servers send a large present response.
    Octets records;
    for (int i = 0; i < 1000; i++)
        records = Cat({records, Indefinite({0x30}, Indefinite({0xA1}, Definite({0x81}, Octets(400, 'M'))))});
    Octets pdu = Indefinite({0xB9}, Indefinite({0xBC}, records));
    Delivery d = Deliver(pdu, 4096);
    ASSERT_EQ(d.result, PDU_SCAN_COMPLETE);
    EXPECT_EQ(d.count, pdu.size());
    EXPECT_FALSE(d.overread);
    EXPECT_LE(d.reads, 3000u); // a few per record, not one per octet
}

struct TooLongCase {
    const char *name;
    Octets start;
    uint32_t limit;
    uint32_t announced;
};

class TooLong : public testing::TestWithParam<TooLongCase> {};

TEST_P(TooLong, RefusedBeforeTheContentsAreRead)
{
    const TooLongCase &c = GetParam();
    Delivery d = Deliver(c.start, 4096, c.limit);
    EXPECT_EQ(d.result, PDU_SCAN_TOO_LONG);
    EXPECT_EQ(d.count, c.announced);
    EXPECT_FALSE(d.overread);
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, TooLong,
    testing::Values(TooLongCase{"announced", {0xB5, 0x84, 0x7F, 0xFF, 0xFF, 0xF0}, 1000000, 0x7FFFFFF6u},
                    TooLongCase{"just_over", Cat({{0xB5, 0x82, 0x03, 0xE8}, Octets(10, 0)}), 1003, 1004},
                    TooLongCase{"nested", {0xB9, 0x80, 0x04, 0x83, 0x10, 0x00, 0x00}, 100000, 0x100007u},
                    TooLongCase{"five_length_octets", {0xB5, 0x85, 0x01, 0x00, 0x00, 0x00, 0x00}, 1000000,
                                0xFFFFFFFFu}),
    [](const testing::TestParamInfo<TooLongCase> &info) { return std::string(info.param.name); });

} // namespace
