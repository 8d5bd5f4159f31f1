// Our encoded requests against the live peers (tests/peers): each must be
// answered, and each answer must decode into the expected structure and
// encode again to the same octets each time. With KESTRA_CAPTURE_DIR set, every
// answer is also written there as <peer>-<step>.ber (the fixtures).
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "tests/asn/builders.h"
#include "tests/asn/roundtrip.h"

namespace {

int PeerPort(const char *peer)
{
    std::ifstream in(std::getenv("KESTRA_PEERS_STATE"));
    std::stringstream text;
    text << in.rdbuf();
    std::string s = text.str();
    size_t at = s.find(std::string("\"") + peer + "\"");
    if (at == std::string::npos)
        return 0;
    at = s.find(',', at);
    return at == std::string::npos ? 0 : std::atoi(s.c_str() + at + 1);
}

struct Connection {
    int fd = -1;
    ~Connection()
    {
        if (fd >= 0)
            close(fd);
    }
};

bool Connect(Connection &c, int port)
{
    c.fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval timeout = {20, 0};
    setsockopt(c.fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    return connect(c.fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
}

// Sends one request and reads one complete answer.
std::vector<unsigned char> Exchange(Connection &c, PDU *request)
{
    std::vector<unsigned char> out = Encode(request);
    if (send(c.fd, out.data(), out.size(), 0) != static_cast<ssize_t>(out.size()))
        return {};
    std::vector<unsigned char> in;
    uint32_t total = 0;
    while (!PduLength(in.data(), static_cast<uint32_t>(in.size()), &total)) {
        unsigned char chunk[65536];
        ssize_t n = recv(c.fd, chunk, sizeof chunk, 0);
        if (n <= 0)
            return {};
        in.insert(in.end(), chunk, chunk + n);
    }
    in.resize(total);
    return in;
}

void Capture(const std::string &name, const std::vector<unsigned char> &octets)
{
    const char *dir = std::getenv("KESTRA_CAPTURE_DIR");
    if (!dir)
        return;
    std::ofstream out(std::string(dir) + "/" + name + ".ber", std::ios::binary);
    out.write(reinterpret_cast<const char *>(octets.data()), static_cast<std::streamsize>(octets.size()));
}

// What the answer to a step must look like.
using Check = void (*)(const PDU *pdu);

void CheckInit(const PDU *pdu)
{
    ASSERT_EQ(pdu->choiceId, PDU_initResponse);
    EXPECT_TRUE(pdu->a.initResponse->result);
    EXPECT_NE(pdu->a.initResponse->implementationName, nullptr);
}

void CheckHits(const PDU *pdu)
{
    ASSERT_EQ(pdu->choiceId, PDU_searchResponse);
    EXPECT_TRUE(pdu->a.searchResponse->searchStatus);
    EXPECT_GT(pdu->a.searchResponse->resultCount, 0);
}

void CheckSearchDiagnostic(const PDU *pdu)
{
    ASSERT_EQ(pdu->choiceId, PDU_searchResponse);
    EXPECT_FALSE(pdu->a.searchResponse->searchStatus);
    ASSERT_NE(pdu->a.searchResponse->records, nullptr);
    EXPECT_EQ(pdu->a.searchResponse->records->choiceId, Records_nonSurrogateDiagnostic);
}

const AsnExternal *FirstRecord(const PDU *pdu)
{
    EXPECT_EQ(pdu->choiceId, PDU_presentResponse);
    if (pdu->choiceId != PDU_presentResponse || !pdu->a.presentResponse->records)
        return nullptr;
    const Records *records = pdu->a.presentResponse->records;
    EXPECT_EQ(records->choiceId, Records_responseRecords);
    if (records->choiceId != Records_responseRecords || !records->a.responseRecords->first)
        return nullptr;
    auto *npr = static_cast<NamePlusRecord *>(records->a.responseRecords->first->data);
    EXPECT_EQ(npr->record->choiceId, NamePlusRecordRecord_retrievalRecord);
    return npr->record->choiceId == NamePlusRecordRecord_retrievalRecord ? npr->record->a.retrievalRecord
                                                                         : nullptr;
}

void CheckOctetRecord(const PDU *pdu)
{
    const AsnExternal *record = FirstRecord(pdu);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->encodingChoice, static_cast<uint32_t>(AsnExternal_octetAligned));
}

void CheckStructuredRecord(const PDU *pdu)
{
    const AsnExternal *record = FirstRecord(pdu);
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->encodingChoice, static_cast<uint32_t>(AsnExternal_singleASN1Type));
    EXPECT_NE(record->encoding.singleASN1Type->value, nullptr);
}

// A target that does not offer the syntax answers with a surrogate diagnostic.
void CheckSurrogateDiagnostic(const PDU *pdu)
{
    ASSERT_EQ(pdu->choiceId, PDU_presentResponse);
    const Records *records = pdu->a.presentResponse->records;
    ASSERT_NE(records, nullptr);
    ASSERT_EQ(records->choiceId, Records_responseRecords);
    auto *npr = static_cast<NamePlusRecord *>(records->a.responseRecords->first->data);
    EXPECT_EQ(npr->record->choiceId, NamePlusRecordRecord_surrogateDiagnostic);
}

void CheckScan(const PDU *pdu)
{
    ASSERT_EQ(pdu->choiceId, PDU_scanResponse);
    ASSERT_NE(pdu->a.scanResponse->entries, nullptr);
}

void CheckClose(const PDU *pdu)
{
    EXPECT_EQ(pdu->choiceId, PDU_close);
}

struct Step {
    const char *name;
    PDU *(*request)(const char *database);
    Check check;
};

struct Peer {
    const char *name;
    const char *database;
    std::vector<Step> steps;
};

const char *const kUsmarc = "1.2.840.10003.5.10";
const char *const kSutrs = "1.2.840.10003.5.101";
const char *const kOpac = "1.2.840.10003.5.102";
const char *const kSummary = "1.2.840.10003.5.103";
const char *const kGrs1 = "1.2.840.10003.5.105";

const std::vector<Peer> &Peers()
{
    static const std::vector<Peer> peers = {
        {"ztest", "Default", {
            {"init", [](const char *) { return BuildInitRequest(); }, CheckInit},
            {"search", [](const char *db) { return BuildSearchRequest(db, "computer", 4); }, CheckHits},
            {"present-usmarc", [](const char *) { return BuildPresentRequest(1, 2, kUsmarc, "F"); },
             CheckOctetRecord},
            {"present-sutrs", [](const char *) { return BuildPresentRequest(1, 1, kSutrs, "F"); },
             CheckStructuredRecord},
            {"present-opac", [](const char *) { return BuildPresentRequest(1, 1, kOpac, "F"); },
             CheckStructuredRecord},
            {"search-diagnostic", [](const char *) { return BuildSearchRequest("x", "computer", 4); },
             CheckSearchDiagnostic},
            {"scan", [](const char *db) { return BuildScanRequest(db, "a", 5); }, CheckScan},
            {"close", [](const char *) { return BuildCloseRequest(); }, CheckClose},
        }},
        {"zebra", "gils", {
            {"init", [](const char *) { return BuildInitRequest(); }, CheckInit},
            {"search", [](const char *db) { return BuildSearchRequest(db, "utah", 1016); }, CheckHits},
            {"present-grs1", [](const char *) { return BuildPresentRequest(1, 2, kGrs1, "F"); },
             CheckStructuredRecord},
            {"present-sutrs", [](const char *) { return BuildPresentRequest(1, 1, kSutrs, "F"); },
             CheckStructuredRecord},
            {"present-summary", [](const char *) { return BuildPresentRequest(1, 1, kSummary, nullptr); },
             CheckSurrogateDiagnostic},
            {"present-usmarc", [](const char *) { return BuildPresentRequest(1, 1, kUsmarc, "F"); },
             CheckOctetRecord},
            {"scan", [](const char *db) { return BuildScanRequest(db, "a", 5); }, CheckScan},
            {"search-diagnostic", [](const char *) { return BuildSearchRequest("nodb", "utah", 1016); },
             CheckSearchDiagnostic},
            {"close", [](const char *) { return BuildCloseRequest(); }, CheckClose},
        }},
    };
    return peers;
}

class LivePeer : public testing::TestWithParam<size_t> {};

TEST_P(LivePeer, AnswersOurRequestsWithDecodablePdus)
{
    if (!std::getenv("KESTRA_PEERS_STATE"))
        GTEST_SKIP() << "no live peers (KESTRA_PEERS_STATE)";
    const Peer &peer = Peers()[GetParam()];
    int port = PeerPort(peer.name);
    ASSERT_NE(port, 0) << "no port of " << peer.name << " in the peers' state file";
    Connection c;
    ASSERT_TRUE(Connect(c, port));
    for (const Step &step : peer.steps) {
        SCOPED_TRACE(step.name);
        std::vector<unsigned char> answer = Exchange(c, step.request(peer.database));
        ASSERT_FALSE(answer.empty()) << "no answer";
        Capture(std::string(peer.name) + "-" + step.name, answer);
        PDU *pdu = Decode(answer);
        ASSERT_NE(pdu, nullptr);
        step.check(pdu);
        ExpectStableReencoding(pdu);
    }
}

INSTANTIATE_TEST_SUITE_P(Peers, LivePeer, testing::Values(0, 1),
                         [](const testing::TestParamInfo<size_t> &info) {
                             return std::string(Peers()[info.param].name);
                         });

} // namespace
