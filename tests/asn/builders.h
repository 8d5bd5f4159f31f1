// The codec helpers (Encode, Decode, BuildSearchRequest ...) are in the one
// test kit; this name stays for the codec benchmark.
#include "tests/dbv/dbv_testkit.h"
