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

void Append(Octets &out, std::initializer_list<unsigned char> octets)
{
    out.insert(out.end(), octets);
}

void AppendLength(Octets &out, size_t len)
{
    if (len < 128) {
        out.push_back(static_cast<unsigned char>(len));
    } else {
        Append(out, {0x82, static_cast<unsigned char>(len >> 8), static_cast<unsigned char>(len)});
    }
}

// One NamePlusRecord: name "Default", retrievalRecord EXTERNAL USMARC
// octet-aligned, inner lengths definite.
void AppendRecord(Octets &out, const std::string &marc)
{
    Octets external = {0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x13, 0x05, 0x0A, 0x81};
    AppendLength(external, marc.size());
    external.insert(external.end(), marc.begin(), marc.end());
    Append(out, {0x30, 0x80, 0x80, 0x07, 'D', 'e', 'f', 'a', 'u', 'l', 't', 0xA1, 0x80, 0xA1, 0x80, 0x28});
    AppendLength(out, external.size());
    out.insert(out.end(), external.begin(), external.end());
    Append(out, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00});
}

Octets PresentResponse(int records)
{
    std::string marc(380, 'm');
    marc.replace(0, 24, "00380nam  2200097   4500");
    marc.back() = '\x1D';
    Octets out = {0xB9, 0x80, 0x98, 0x02, 0x03, 0xE8, 0x99, 0x02, 0x03, 0xE9, 0x9B, 0x01, 0x00, 0xBC, 0x80};
    for (int i = 0; i < records; i++)
        AppendRecord(out, marc);
    Append(out, {0x00, 0x00, 0x00, 0x00});
    return out;
}

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
    static const Octets octets = PresentResponse(1000);
    return octets;
}

const Octets &SmallSearch()
{
    static const Octets octets = Encode(BuildSearchRequest("Default", "computer", 4));
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
