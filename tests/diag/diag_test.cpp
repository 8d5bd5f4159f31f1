// Trace table and trace lines, the API log, the invalid-PDU dump and the
// console error routine.
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "diag/api_log.h"
#include "diag/console.h"
#include "diag/trace.h"
#include "tests/diag/scratch_dir.h"
#include "ui/mem.h"
#include "ui/os.h"

namespace {

// Text files written in the platform's text mode, read back with plain
// line ends.
std::string TextOf(const std::string &path)
{
    std::string text = ReadFile(path);
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

// A traced association writing into a file of the scratch directory.
struct TracedAssociation {
    ScratchDir scratch;
    DbvAssocId id;
    FILE *stream;

    TracedAssociation(DbvAssocId assocId, int32_t level) : id(assocId), stream(std::fopen("trace.trc", "w+b"))
    {
        TraceAdd(id, stream, level);
    }
    ~TracedAssociation()
    {
        TraceRemove(id);
        std::fclose(stream);
    }
    std::string Text() const
    {
        std::fflush(stream);
        return ReadFile("trace.trc");
    }
};

struct tm FixedTime()
{
    struct tm when = {};
    when.tm_year = 2024 - 1900;
    when.tm_mon = 2;
    when.tm_mday = 7;
    when.tm_hour = 13;
    when.tm_min = 4;
    when.tm_sec = 5;
    when.tm_yday = 66;
    return when;
}

struct LevelCase {
    int32_t traceLevel;
    int32_t messageLevel;
    bool written;
};

class TraceLevels : public testing::TestWithParam<LevelCase> {};

TEST_P(TraceLevels, WriteOnlyWhatTheLevelAdmits)
{
    const LevelCase &c = GetParam();
    TracedAssociation traced(41, c.traceLevel);
    TraceWrite(41, c.messageLevel, "line\n");
    TraceWritef(41, c.messageLevel, "%s %d\n", "formatted", 7);
    EXPECT_EQ(traced.Text(), c.written ? "line\nformatted 7\n" : "");
}

INSTANTIATE_TEST_SUITE_P(Filter, TraceLevels,
                         testing::Values(LevelCase{Trace_Low, Trace_Low, true}, LevelCase{Trace_Low, Trace_High, false},
                                         LevelCase{Trace_High, Trace_Low, true},
                                         LevelCase{Trace_High, Trace_High, true},
                                         LevelCase{Trace_Off, Trace_Low, false}));

TEST(Trace, AnUntracedAssociationGetsNothingAndHasLevelZero)
{
    TracedAssociation traced(42, Trace_High);
    TraceWrite(43, Trace_Low, "elsewhere\n");
    EXPECT_EQ(traced.Text(), "");
    EXPECT_EQ(TraceLevel(43), 0);
    EXPECT_EQ(TraceLevel(42), Trace_High);
}

TEST(Trace, EntryAndExitLinesNameTheResult)
{
    TracedAssociation traced(44, Trace_Low);
    TraceEnter(44, "DbvAbortRequest");
    TraceLeave(44, "DbvAbortRequest", SI_OK);
    TraceLeave(44, "ReceiveDataOrigin", SI_NOTOK);
    TraceLeave(44, "SIReadPdu", 5);
    EXPECT_EQ(traced.Text(), "Vantor Norbel for Windows Trace File Association: 44\n"
                             "**Entering function:DbvAbortRequest\n"
                             "Vantor Norbel for Windows Trace File Association: 44\n"
                             "**Leaving function:DbvAbortRequest\n"
                             "Function returned: SI_OK\n\n"
                             "Vantor Norbel for Windows Trace File Association: 44\n"
                             "**Leaving function:ReceiveDataOrigin\n"
                             "Function returned: SI_NOTOK\n\n"
                             "Vantor Norbel for Windows Trace File Association: 44\n"
                             "**Leaving function:SIReadPdu\n");
}

TEST(Trace, ErrorStructuresOfBothShapes)
{
    TracedAssociation traced(45, Trace_Low);
    char text[] = "Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_SEARCH_SENT";
    SIError coded = {SI_Interface_Error, {80}, text, Association_Open};
    TraceErrorStructure(45, &coded);
    SIAbortInfo abort = {0, 0, text};
    SIError aborted = {SI_Abort, {0}, text, Association_Closed};
    aborted.uErrorCode.psAbort = &abort;
    TraceErrorStructure(45, &aborted);
    EXPECT_EQ(traced.Text(), "An error has occured, Error structure is:\n"
                             "eErrorClass == SI_Interface_Error\n"
                             "uErrorCode.lIfOsCoError == 80\n"
                             "Diagnostic: Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_SEARCH_SENT\n"
                             "eAssociationState == Association_Open\n"
                             "An error has occured, Error structure is:\n"
                             "eErrorClass == SI_Abort\n"
                             "uErrorCode.psAbort->eAbortSource == 0\n"
                             "uErrorCode.psAbort->lAbortReason == 0\n"
                             "Diagnostic: Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_SEARCH_SENT\n"
                             "eAssociationState == Association_Closed\n");
}

TEST(Trace, TimeStampsExpandDayOfYearAndPercent) // the banner shows the others
{
    struct tm when = FixedTime();
    char out[128];
    FormatTraceTime(out, sizeof out, "%j%H%M%S 100%%", &when);
    EXPECT_STREQ(out, "067130405 100%");
}

TEST(Trace, BannerAndEnding)
{
    ScratchDir scratch;
    FILE *stream = std::fopen("banner.trc", "w+b");
    struct tm when = FixedTime();
    TraceWriteBanner(stream, 7, "TCP_Stack", Trace_High, &when);
    TraceWriteEnding(stream, &when);
    std::fclose(stream);
    EXPECT_EQ(ReadFile("banner.trc"), "Vantor Norbel for Windows API Trace Information\n"
                                      "-------------------------------------------------\n"
                                      "\nBeginning trace for Association:7\n"
                                      "Started at 13:04:05 \t07/03/2024 \n \n"
                                      "Association uses stack: TCP_Stack\n"
                                      "\nBeginning Trace at Level: Trace_High\n"
                                      "Ending current trace.\n"
                                      "Ended at:13:04:05 \t07/03/2024 \n \n");
}

SIError CommunicationError(char *text)
{
    SIError error = {SI_Communication_Error, {31}, text, Association_Closed};
    return error;
}

TEST(ApiLog, NothingIsWrittenOrCreatedWithoutTheFile)
{
    ScratchDir scratch;
    char text[] = "TCP: connect() failed.";
    SIError error = CommunicationError(text);
    LogApiError(&error, text);
    EXPECT_FALSE(std::filesystem::exists("DBV_API_logfile"));
}

TEST(ApiLog, EachRecordOverwritesTheHeadOfTheFile)
{
    ScratchDir scratch;
    WriteFile("DBV_API_logfile", "");
    char longText[] = "A call to the system function select() returned error: Bad file descriptor, "
                      "and a good deal more text than the record after it";
    SIError first = CommunicationError(longText);
    first.uErrorCode.lIfOsCoError = 8;
    LogApiError(&first, longText);
    std::string firstRecord = ReadFile("DBV_API_logfile");
    std::string pid = std::to_string(CurrentProcessId());
    EXPECT_EQ(TextOf("DBV_API_logfile"), "Vantor Norbel for Windows LogFile ProcessId: " + pid +
                                             " produced the following error\n"
                                             "\teErrorClass == SI_Communication_Error\n"
                                             "\tuErrorCode.lIfOsCoError == 8\n"
                                             "A call to the system function select() returned error: Bad file "
                                             "descriptor, and a good deal more text than the record after it\n"
                                             "eAssociationState == Association_Closed\n\n");

    char abortText[] = "The Association has been aborted";
    SIAbortInfo abort = {0, 0, abortText};
    SIError second = {SI_Abort, {0}, abortText, Association_Closed};
    second.uErrorCode.psAbort = &abort;
    LogApiError(&second, nullptr);
    std::string both = ReadFile("DBV_API_logfile");
    WriteFile("DBV_API_logfile", "");
    LogApiError(&second, nullptr);
    std::string secondRecord = ReadFile("DBV_API_logfile");
    EXPECT_EQ(TextOf("DBV_API_logfile"), "Vantor Norbel for Windows LogFile ProcessId: " + pid +
                                             " produced the following error\n"
                                             "\teErrorClass == SI_Abort\n"
                                             "\tuErrorCode.psAbort->eAbortSource == 0\n"
                                             "\tuErrorCode.psAbort->lAbortReason == 0\n"
                                             "\tuErrorCode.psAbort->pcDiagnostics == The Association has been aborted\n"
                                             "eAssociationState == Association_Closed\n\n");
    ASSERT_LT(secondRecord.size(), firstRecord.size());
    EXPECT_EQ(both, secondRecord + firstRecord.substr(secondRecord.size()));
}

TEST(InvalidPduDump, HexOfEachPduAppendedToTheProcessFile)
{
    ScratchDir scratch;
    char path[64];
    InvalidPduPath(path, sizeof path);
    char expected[64];
    std::snprintf(expected, sizeof expected, "./Inv_Pdu.%08ld", CurrentProcessId());
    EXPECT_STREQ(path, expected);

    const unsigned char pdu[] = {0x30, 0x03, 0x02, 0x01, 0x05};
    EXPECT_EQ(DumpInvalidPdu(pdu, sizeof pdu), 1);
    EXPECT_EQ(DumpInvalidPdu(nullptr, 0), 1);
    EXPECT_EQ(TextOf(path), "Invalid PDU:\nHex: 3003020105\nInvalid PDU:\nHex: NULL \n");
}

TEST(InvalidPduDump, AnUnopenableFileIsReportedOnStandardError)
{
    ScratchDir scratch;
    char path[64];
    InvalidPduPath(path, sizeof path);
    std::filesystem::create_directory(path); // a directory cannot be opened for appending
    testing::internal::CaptureStderr();
    const unsigned char octet = 0xB5;
    EXPECT_EQ(DumpInvalidPdu(&octet, 1), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "couldnt open invalid pdu file diagnostic file\n");
}

#ifdef _WIN32
const int kExitMinusOne = -1;
#else
const int kExitMinusOne = 255;
#endif

TEST(UtilityErrors, SeverityZeroReportsAndReturns)
{
    testing::internal::CaptureStdout();
    ReportUtilityError(UTILITY_NOTE, "Out of memory", "STR1");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\aSTR1:Out of memory");
}

// Runs severity 1 with the given answer on standard input.
void Ask(const char *answer)
{
    WriteFile("answer.txt", answer);
    if (!std::freopen("answer.txt", "r", stdin))
        std::exit(3);
    ReportUtilityError(UTILITY_ASK, "table full", "ASSOC");
    std::exit(0);
}

TEST(UtilityErrorsDeathTest, SeverityOneEndsOnNoAndGoesOnOtherwiseSeverityTwoEnds)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ScratchDir scratch;
    EXPECT_EXIT(Ask("n\n"), testing::ExitedWithCode(kExitMinusOne), "");
    EXPECT_EXIT(Ask("N"), testing::ExitedWithCode(kExitMinusOne), "");
    EXPECT_EXIT(Ask("yes please\n"), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(ReportUtilityError(UTILITY_FATAL, "Out of memory", "STR1"), testing::ExitedWithCode(kExitMinusOne),
                "");
}

TEST(CountedAllocation, AddsEverySizeToTheTotal)
{
    size_t before = CountedAllocatedBytes();
    void *block = CountedAlloc(100, "TEST");
    char *copy = CountedStrDup("target");
    EXPECT_STREQ(copy, "target");
    EXPECT_EQ(CountedAllocatedBytes(), before + 100 + 7);
    EXPECT_EQ(static_cast<unsigned char *>(block)[99], 0);
    MemFree(block);
    MemFree(copy);
}

} // namespace
