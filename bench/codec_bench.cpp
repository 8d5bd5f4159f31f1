// Decoding and encoding throughput of (a) a presentResponse of 1,000 USMARC
// records framed as a real target sends it (indefinite lengths at the outer
// levels, about 400 KB) and (b) a small searchRequest. Reports MB/s (bytes
// per second) and PDUs per second (items per second).
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "asn/asn_pdu.h"
#include "tests/dbv/dbv_testkit.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

void Decoding(benchmark::State &state, const Octets &octets)
{
    for (auto _ : state) {
        PDU *pdu = Decode(octets);
        if (!pdu) {
            state.SkipWithError("decode failed");
            break;
        }
        Release(pdu);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

// Encodes PDUs decoded beforehand, a batch at a time, so that neither the
// decoding nor the pausing of the clock is timed; EncodePdu frees each PDU
// as its contract says, and that is timed with the encoding.
void Encoding(benchmark::State &state, const Octets &octets, size_t batch)
{
    std::vector<PDU *> pdus(batch);
    uint32_t size = 0;
    while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(batch))) {
        state.PauseTiming();
        for (PDU *&pdu : pdus)
            pdu = Decode(octets);
        state.ResumeTiming();
        for (PDU *pdu : pdus) {
            unsigned char *encoded = nullptr;
            ASN_PduError error = {};
            if (!pdu || EncodePdu(0, pdu, &encoded, &size, &error) != 0) {
                state.SkipWithError("encode failed");
                return;
            }
            benchmark::DoNotOptimize(encoded);
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

const Octets &LargePresent()
{
    static const Octets octets = MarcPresentResponse(1000);
    return octets;
}

const Octets &SmallSearch()
{
    static const Octets octets = Encode(SearchPdu(MakeSearchReq("Default", "computer", 4)));
    return octets;
}

void BM_DecodePresentResponse1000Usmarc(benchmark::State &state) { Decoding(state, LargePresent()); }
void BM_EncodePresentResponse1000Usmarc(benchmark::State &state) { Encoding(state, LargePresent(), 4); }
void BM_DecodeSearchRequest(benchmark::State &state) { Decoding(state, SmallSearch()); }
void BM_EncodeSearchRequest(benchmark::State &state) { Encoding(state, SmallSearch(), 1000); }

BENCHMARK(BM_DecodePresentResponse1000Usmarc);
BENCHMARK(BM_EncodePresentResponse1000Usmarc);
BENCHMARK(BM_DecodeSearchRequest);
BENCHMARK(BM_EncodeSearchRequest);

} // namespace

BENCHMARK_MAIN();
