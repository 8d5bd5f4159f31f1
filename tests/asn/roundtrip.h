// The round-trip property of a decoded PDU: encoding it, decoding that and
// encoding again gives the same octets. (Peers send indefinite lengths and
// BOOLEANs as 01, so their own octets are not what we write.)
#ifndef KESTRA_TESTS_ASN_ROUNDTRIP_H
#define KESTRA_TESTS_ASN_ROUNDTRIP_H

#include <gtest/gtest.h>

#include "tests/asn/builders.h"

inline void ExpectStableReencoding(PDU *pdu)
{
    std::vector<unsigned char> first = Encode(pdu);
    ASSERT_FALSE(first.empty());
    PDU *again = Decode(first);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Encode(again), first) << "re-encoding differs";
}

#endif
