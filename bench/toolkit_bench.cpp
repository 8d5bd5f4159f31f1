// The receive path against a live yaz-ztest: 1,000 USMARC records in one
// presentResponse (preferred and maximum message size 1,000,000), asked
// for with DBVPresentRequest and taken with ReceiveDataOrigin, with the
// time and the receive calls per retrieval; and the receive calls per PDU of
// present responses that the replaying target writes. The peers come from
// tests/peers/peers.py and tests/peers/z3950_target.py, whose state files
// KESTRA_PEERS_STATE and KESTRA_TARGETS_STATE name (run_toolkit_bench and
// run_session_bench start and stop them).
#include <string>

#include <benchmark/benchmark.h>

#include "assoc/transport.h"
#include "ui/mem.h"
#include "tests/toolkit/toolkit_kit.h"

namespace {

// The next PDU within the wait, or NULL with the reason in *failure.
DbvReceivedPdu *Await(DbvAssocId id, int32_t wait, std::string *failure)
{
    DbvReceivedPdu *pdu = nullptr;
    SIError *error = nullptr;
    if (ReceiveDataOrigin(id, wait, &pdu, &error) != SI_OK) {
        *failure = error && error->pcDiagnostics ? error->pcDiagnostics : "receive failed";
        DbvFreeReceivedPdu(pdu);
        pdu = nullptr;
    } else if (!pdu) {
        *failure = "no answer in time";
    }
    SIFreeError(error);
    return pdu;
}

// Opens and initializes a session with the peer, then searches it (use
// attribute 1016); the association, or -1 with the reason in *failure.
DbvAssocId OpenSearched(int port, const char *database, const char *term, uint32_t messageSize, std::string *failure)
{
    DbvAssocId id = OpenAssociation(port);
    *failure = id < 0 ? "cannot connect" : "";
    bool ok = id >= 0 && Send(DBVInitializeRequest, id, &DbvDesc_InitializeReq, MakeInitializeReq(messageSize), failure) == SI_OK;
    DbvReceivedPdu *init = ok ? Await(id, 30, failure) : nullptr;
    ok = init && init->ePduType == RPT_InitializeRsp &&
         Send(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq(database, term, 1016), failure) == SI_OK;
    DbvReceivedPdu *search = ok ? Await(id, 30, failure) : nullptr;
    ok = search && search->ePduType == RPT_SearchRsp && search->uPdu.psSearchRsp->fSearchStatus;
    if (!ok && failure->empty())
        *failure = "the session was refused or the search failed";
    DbvFreeReceivedPdu(init);
    DbvFreeReceivedPdu(search);
    if (!ok && id >= 0)
        Abort(id);
    return ok ? id : -1;
}

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
        DbvPresentReq *request = MakePresentReq(1, 1000, OID_SYNTAX_USMARC);
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

// Receive calls per PDU: a present response of `records` USMARC records
// (about 4 KB or 418 KB), with indefinite lengths above the records as
// common targets send it or definite ones throughout, written at once by the
// replaying target (KESTRA_TARGETS_STATE) and read with SIReadOctets.
void BM_ReceiveCallsPerPdu(benchmark::State &state, int records, bool definite)
{
    std::vector<unsigned char> octets = MarcPresentResponse(records);
    if (definite)
        octets = Encode(Decode(octets));
    uint64_t calls = 0;
    for (auto _ : state) {
        DbvAssocId id = OpenScripted("keep", octets, octets.size());
        if (id < 0) {
            state.SkipWithError("no replaying target: KESTRA_TARGETS_STATE names none");
            return;
        }
        SISetNegotiatedSizes(id, 1000000, 1000000); // as a session with message sizes 1,000,000
        uint64_t before = SIReceiveCalls();
        unsigned char *pdu = nullptr;
        uint32_t count = 0;
        SIError *error = nullptr;
        int read = SIReadOctets(id, 30, &pdu, &count, &error);
        calls += SIReceiveCalls() - before;
        bool whole = read == SI_READ_DONE && count == octets.size();
        if (read == SI_READ_DONE)
            MemFree(pdu);
        SIFreeError(error);
        Abort(id);
        if (!whole) {
            state.SkipWithError("the PDU did not arrive whole");
            return;
        }
    }
    state.counters["octets"] = static_cast<double>(octets.size());
    state.counters["recv_calls"] = benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kAvgIterations);
}

} // namespace

BENCHMARK(BM_Present1000UsmarcFromZtest)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReceiveCallsPerPdu, indefinite_4KB, 10, false)->Iterations(20);
BENCHMARK_CAPTURE(BM_ReceiveCallsPerPdu, definite_4KB, 10, true)->Iterations(20);
BENCHMARK_CAPTURE(BM_ReceiveCallsPerPdu, indefinite_418KB, 1000, false)->Iterations(20);
BENCHMARK_CAPTURE(BM_ReceiveCallsPerPdu, definite_418KB, 1000, true)->Iterations(20);
BENCHMARK_MAIN();
