// The receive path against a live yaz-ztest: 1,000 USMARC records in one
// presentResponse (preferred and maximum message size 1,000,000), asked
// for with DBVPresentRequest and taken with ReceiveDataOrigin, with the
// time and the receive calls per retrieval. The peer comes from
// tests/peers/peers.py, whose state file KESTRA_PEERS_STATE names (the
// target run_toolkit_bench starts and stops it).
#include <string>

#include <benchmark/benchmark.h>

#include "assoc/transport.h"
#include "tests/toolkit/toolkit_kit.h"

namespace {

const char kUsmarc[] = "1.2.840.10003.5.10";

void BM_Present1000UsmarcFromZtest(benchmark::State &state)
{
    int port = PeerPort("KESTRA_PEERS_STATE", "ztest");
    std::string failure = "no yaz-ztest: KESTRA_PEERS_STATE names no peers state";
    DbvAssocId id = port ? OpenSearched(port, "Default", "1000", 1000000, &failure) : -1;
    if (id < 0) {
        state.SkipWithError(failure.c_str());
        return;
    }
    uint64_t calls = 0;
    uint64_t records = 0;
    for (auto _ : state) {
        DbvPresentReq *request = MakePresentReq(1, 1000, kUsmarc);
        SIError *error = nullptr;
        uint64_t before = SIReceiveCalls();
        int sent = DBVPresentRequest(id, request, &error);
        DbvReceivedPdu *pdu = sent == SI_OK ? Await(id, 30, &failure) : nullptr;
        calls += SIReceiveCalls() - before;
        DbvFreeTree(&DbvDesc_PresentReq, request);
        SIFreeError(error);
        if (!pdu || pdu->ePduType != RPT_PresentRsp || pdu->uPdu.psPresentRsp->ulNumberOfRecordsReturned != 1000) {
            DbvFreeReceivedPdu(pdu);
            state.SkipWithError("the present did not bring 1,000 records");
            break;
        }
        records += pdu->uPdu.psPresentRsp->ulNumberOfRecordsReturned;
        DbvFreeReceivedPdu(pdu);
    }
    state.counters["recv_calls"] = benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kAvgIterations);
    state.counters["records"] = benchmark::Counter(static_cast<double>(records), benchmark::Counter::kAvgIterations);
    SIError *error = nullptr;
    DbvAbortRequest(id, &error);
    SIFreeError(error);
}

} // namespace

BENCHMARK(BM_Present1000UsmarcFromZtest)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
