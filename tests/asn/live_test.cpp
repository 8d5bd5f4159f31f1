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

// What the answer to a step must be.
enum Expect { kInit, kHits, kSearchDiagnostic, kOctetRecord, kStructuredRecord, kSurrogateDiagnostic, kScan, kClose };

// The first record of a presentResponse (a target that does not offer the
// syntax answers with a surrogate diagnostic).
void CheckRecord(const PDU *pdu, Expect expect)
{
    ASSERT_EQ(pdu->choiceId, PDU_presentResponse);
    const Records *records = pdu->a.presentResponse->records;
    ASSERT_NE(records, nullptr);
    ASSERT_EQ(records->choiceId, Records_responseRecords);
    ASSERT_NE(records->a.responseRecords->first, nullptr);
    const NamePlusRecordRecord *record = static_cast<NamePlusRecord *>(records->a.responseRecords->first->data)->record;
    if (expect == kSurrogateDiagnostic) {
        EXPECT_EQ(record->choiceId, NamePlusRecordRecord_surrogateDiagnostic);
        return;
    }
    ASSERT_EQ(record->choiceId, NamePlusRecordRecord_retrievalRecord);
    const AsnExternal *external = record->a.retrievalRecord;
    if (expect == kOctetRecord) {
        EXPECT_EQ(external->encodingChoice, static_cast<uint32_t>(AsnExternal_octetAligned));
    } else {
        ASSERT_EQ(external->encodingChoice, static_cast<uint32_t>(AsnExternal_singleASN1Type));
        EXPECT_NE(external->encoding.singleASN1Type->value, nullptr);
    }
}

void Check(const PDU *pdu, Expect expect)
{
    switch (expect) {
    case kInit:
        ASSERT_EQ(pdu->choiceId, PDU_initResponse);
        EXPECT_TRUE(pdu->a.initResponse->result);
        EXPECT_NE(pdu->a.initResponse->implementationName, nullptr);
        break;
    case kHits:
    case kSearchDiagnostic:
        ASSERT_EQ(pdu->choiceId, PDU_searchResponse);
        EXPECT_EQ(pdu->a.searchResponse->searchStatus != 0, expect == kHits);
        if (expect == kHits) {
            EXPECT_GT(pdu->a.searchResponse->resultCount, 0);
        } else {
            ASSERT_NE(pdu->a.searchResponse->records, nullptr);
            EXPECT_EQ(pdu->a.searchResponse->records->choiceId, Records_nonSurrogateDiagnostic);
        }
        break;
    case kScan:
        ASSERT_EQ(pdu->choiceId, PDU_scanResponse);
        ASSERT_NE(pdu->a.scanResponse->entries, nullptr);
        break;
    case kClose:
        EXPECT_EQ(pdu->choiceId, PDU_close);
        break;
    default:
        CheckRecord(pdu, expect);
    }
}

struct Step {
    const char *name;
    PDU *(*request)();
    Expect expect;
};

struct Peer {
    const char *name;
    std::vector<Step> steps;
};

const char *const kUsmarc = "1.2.840.10003.5.10";
const char *const kSutrs = "1.2.840.10003.5.101";

const std::vector<Peer> &Peers()
{
    static const std::vector<Peer> peers = {
        {"ztest", {
            {"init", BuildInitRequest, kInit},
            {"search", [] { return BuildSearchRequest("Default", "computer", 4); }, kHits},
            {"present-usmarc", [] { return BuildPresentRequest(1, 2, kUsmarc, "F"); }, kOctetRecord},
            {"present-sutrs", [] { return BuildPresentRequest(1, 1, kSutrs, "F"); }, kStructuredRecord},
            {"present-opac", [] { return BuildPresentRequest(1, 1, "1.2.840.10003.5.102", "F"); }, kStructuredRecord},
            {"search-diagnostic", [] { return BuildSearchRequest("x", "computer", 4); }, kSearchDiagnostic},
            {"scan", [] { return BuildScanRequest("Default", "a", 5); }, kScan},
            {"close", BuildCloseRequest, kClose},
        }},
        {"zebra", {
            {"init", BuildInitRequest, kInit},
            {"search", [] { return BuildSearchRequest("gils", "utah", 1016); }, kHits},
            {"present-grs1", [] { return BuildPresentRequest(1, 2, "1.2.840.10003.5.105", "F"); }, kStructuredRecord},
            {"present-sutrs", [] { return BuildPresentRequest(1, 1, kSutrs, "F"); }, kStructuredRecord},
            {"present-summary", [] { return BuildPresentRequest(1, 1, "1.2.840.10003.5.103", nullptr); },
             kSurrogateDiagnostic},
            {"present-usmarc", [] { return BuildPresentRequest(1, 1, kUsmarc, "F"); }, kOctetRecord},
            {"scan", [] { return BuildScanRequest("gils", "a", 5); }, kScan},
            {"search-diagnostic", [] { return BuildSearchRequest("nodb", "utah", 1016); }, kSearchDiagnostic},
            {"close", BuildCloseRequest, kClose},
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
        std::vector<unsigned char> answer = Exchange(c, step.request());
        ASSERT_FALSE(answer.empty()) << "no answer";
        Capture(std::string(peer.name) + "-" + step.name, answer);
        PDU *pdu = Decode(answer);
        ASSERT_NE(pdu, nullptr);
        Check(pdu, step.expect);
        ExpectStableReencoding(pdu);
    }
}

INSTANTIATE_TEST_SUITE_P(Peers, LivePeer, testing::Values(0, 1),
                         [](const testing::TestParamInfo<size_t> &info) {
                             return std::string(Peers()[info.param].name);
                         });

} // namespace
