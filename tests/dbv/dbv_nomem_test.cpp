// The converters and the copy under memory exhaustion: with this program's
// allocator failing from the n-th allocation on, every n short of success
// must be reported as out of memory, hand back nothing and leak no block.
#include <cstdlib>
#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "dbv_convert.h"
#include "asn/asn_pdu.h"
#include "tests/dbv/dbv_testkit.h"

namespace {

long gAllocationsLeft = -1; // -1: no limit
long gAlive = 0;

union Header {
    size_t size;
    max_align_t align;
};

} // namespace

extern "C" void *MemAlloc(size_t size)
{
    if (gAllocationsLeft == 0)
        return nullptr;
    if (gAllocationsLeft > 0)
        gAllocationsLeft--;
    Header *h = static_cast<Header *>(std::calloc(1, sizeof(Header) + (size ? size : 1)));
    h->size = size;
    gAlive++;
    return h + 1;
}

extern "C" void MemFree(void *block)
{
    if (!block)
        return;
    gAlive--;
    std::free(static_cast<Header *>(block) - 1);
}

extern "C" void *MemRealloc(void *block, size_t size)
{
    void *grown = MemAlloc(size);
    if (grown && block) {
        size_t old = (static_cast<Header *>(block) - 1)->size;
        std::memcpy(grown, block, old < size ? old : size);
        MemFree(block);
    }
    return grown;
}

namespace {

// Runs step (true: it succeeded) with ever later failing allocations until it
// succeeds, and returns how many it needed; no failure may leave a block behind.
long ExpectCleanFailures(const std::function<bool()> &step)
{
    for (long n = 0; n < 100000; n++) {
        long alive = gAlive;
        gAllocationsLeft = n;
        bool done = step();
        gAllocationsLeft = -1;
        if (done)
            return n;
        EXPECT_EQ(gAlive, alive) << "after failing allocation " << n;
    }
    ADD_FAILURE() << "never succeeded";
    return 0;
}

TEST(DbvNoMemory, ConvertersAndCopyFailCleanly)
{
    for (uint32_t alternative : {PDU_searchRequest, PDU_presentResponse, PDU_scanResponse, PDU_initRequest}) {
        SCOPED_TRACE(alternative);
        DbvPdu *pdu = SampledPdu(alternative + 2 * ASN_PDU_UNKNOWN);
        PDU *asn = nullptr;
        ASSERT_EQ(DbvPduToAsn(pdu, &asn), DBV_CONVERT_OK);

        EXPECT_GT(ExpectCleanFailures([&] {
            PDU *out = reinterpret_cast<PDU *>(1);
            int result = DbvPduToAsn(pdu, &out);
            if (result == DBV_CONVERT_OK) {
                Release(out);
            } else {
                EXPECT_TRUE(result == DBV_CONVERT_NO_MEMORY && out == nullptr) << result;
            }
            return result == DBV_CONVERT_OK;
        }), 20);
        EXPECT_GT(ExpectCleanFailures([&] {
            DbvPdu *out = reinterpret_cast<DbvPdu *>(1);
            if (DbvPduFromAsn(asn, &out) != DBV_CONVERT_OK) {
                EXPECT_EQ(out, nullptr);
                return false;
            }
            EXPECT_TRUE(DbvTreeEqual(&DbvDesc_Pdu, pdu, out));
            DbvFreePdu(out);
            return true;
        }), 20);
        EXPECT_GT(ExpectCleanFailures([&] {
            DbvPdu *copy = DbvCopyPdu(pdu);
            DbvFreePdu(copy);
            return copy != nullptr;
        }), 20);
        Release(asn);
        DbvFreePdu(pdu);
    }
}

} // namespace
