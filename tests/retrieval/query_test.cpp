// Query formulation: SEARCH request lines in, RPN trees (or status codes and
// the query error box) out.
#include "retrieval/query.h"

#include "dbv/dbv_build.h"
#include "service/exchange/exchange.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#ifdef _WIN32
#include <atomic>
#include <thread>
#endif

namespace {

const char kBoxLine[] = "Ostrel Web Client: Error in query formulation";

// A tree in short form: "AND(1=4:war,1=21:peace)", attributes as type=value
// separated by blanks, "SET:name" for a result set; "!" marks a malformed part.
std::string Render(const DbvRPNStructure *node)
{
    if (node->eRpnStructureType == RST_RpnLopRopOperator) {
        const DbvRpnLopRopOperator *join = node->uRPNStructure.psRpnLopRopOperator;
        static const char *const kNames[] = {"!", "OR", "AND", "ANDNOT"};
        return std::string(kNames[join->sOperator.eOperatorType]) + "(" + Render(join->psLeftOperand) + "," +
               Render(join->psRightOperand) + ")";
    }
    const DbvOperand *operand = node->uRPNStructure.psRpnOperand;
    if (operand->eOperandType == OPD_ResultSetId)
        return "SET:" + dbv::TextOf(operand->uOperand.psResultSetId);
    const DbvAttributesPlusTerm *term = operand->uOperand.psAttributesPlusTerm;
    std::string text;
    for (DbvAttributeElement **e = term->ppsAttributeElement; *e; ++e)
        text += (text.empty() ? "" : " ") + std::to_string((*e)->ulAttributeType) +
                ((*e)->pcAttributeSetId || (*e)->sAttributeValue.eAttributeValueType != AVT_Numeric ? "!" : "=") +
                std::to_string((*e)->sAttributeValue.uAttributeValue.ulNumeric);
    std::string words = dbv::TextOf(term->sTerm.uTerm.psGeneral);
    bool general = term->sTerm.eTermType == TT_General && term->sTerm.uTerm.psGeneral->ulLength == words.size();
    return text + (general ? ":" : "!") + words;
}

#ifdef _WIN32
// The message boxes that the call shows, as "caption: text" lines. They are
// modal on Windows: a helper thread reads and closes each one.
std::string BoxesShownBy(const std::function<void()> &call)
{
    std::string boxes;
    std::atomic<bool> finished(false);
    std::thread closer([&] {
        for (WindowHandle last = 0; !finished; SleepMilliseconds(10)) {
            char caption[64], text[128];
            WindowHandle box = FindMessageBox(g_exchange.instance_window, caption, sizeof caption, text, sizeof text);
            // Text comes a moment after the box; dismissed until gone, in case one is missed.
            if (box && text[0]) {
                if (box != last)
                    boxes += std::string(caption) + ": " + text + "\n";
                DismissMessageBox(last = box);
            }
        }
    });
    call();
    finished = true;
    closer.join();
    return boxes;
}
#else
// On POSIX message boxes go to standard error as "caption: text" lines.
std::string BoxesShownBy(const std::function<void()> &call)
{
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}
#endif

// The request line's query in short form, then " under " set and " in " database
// where not BIB-1 and "KESTRA"; else the status code. The query error box must
// come with status 2003 and only with it.
std::string Formulate(const std::string &line)
{
    g_exchange.format_mode = FORMAT_PLAIN;
    std::snprintf(g_exchange.current_request, sizeof g_exchange.current_request, "%s", line.c_str());
    ClearStatus();
    DbvSearchReq *request = dbv::New<DbvSearchReq>();
    bool ok = false;
    std::string boxes = BoxesShownBy([&] { ok = FormulateQuery(request); });
    std::string outcome = std::to_string(StatusCode());
    if (ok) {
        EXPECT_TRUE(request->ppsDatabaseNames[0] && !request->ppsDatabaseNames[1]) << line;
        EXPECT_EQ(request->psQuery->eQueryType, QT_Rpn);
        const DbvRPNQuery *rpn = request->psQuery->uQuery.psRpnQuery;
        std::string database = dbv::TextOf(request->ppsDatabaseNames[0]);
        outcome = Render(&rpn->sRpnStructure);
        if (std::string(rpn->pcAttributeSetId) != "1.2.840.10003.3.1")
            outcome += std::string(" under ") + rpn->pcAttributeSetId;
        if (database != "KESTRA")
            outcome += " in " + database;
    } else {
        EXPECT_TRUE(!request->psQuery && !request->ppsDatabaseNames) << line;
        EXPECT_STREQ(StatusText(), StatusCode() == 2004 ? "Search Request Error - No search term supplied"
                                                         : "Search Request Error - Failed to set up RPN search");
    }
    EXPECT_EQ(boxes.find(kBoxLine) != std::string::npos, outcome == "2003") << line;
    DbvFreeSearchReq(request);
    return outcome;
}

// The trees and refusals of the SEARCH end-to-end test are not repeated here.
TEST(FormulateQuery, BuildsTreesAndRefusesBadQueries)
{
    const struct {
        std::string line, tree;
    } cases[] = {
        {"Query:@use=1003,,3@term=smith Terms:1", "1=1003 3=3:smith"},
        {"Query:@use=4@term=/War@op=AND@use=4@term=Peace/ Terms:2", "1=4:war AND peace"},
        {"Query:\"@use=4@term=/new york/@op=OR@use=21@term=x\" Terms:2", "OR(1=4:new york,1=21:x)"},
        {"Query:@4@War Terms:1", "1=4:war"},
        {"Query:@4@war Terms:1 AnsiAttributeSet:CIMI Database:books", "1=4:war under 1.2.840.10003.3.8 in books"},
        {"Query:use=4@term=war@op=AND@use=21@term=peace Terms:1", "1=4:war"},
        {"Query:@use=4@term=war Terms:3", "1=4:war"},
        {"Query: Terms:1", "2004"},
        // A value that is no number reads as 0: the attribute is left out.
        {"Query:@use=RESSET@term=x Terms:1", ":x"},
        {"Query:@use=1003,1003,1003@term=x Terms:1", "2003"},
        {"Query:@use=" + std::string(100, '4') + "@term=x Terms:1", "2003"},
        {"Query:@use=4@term=" + std::string(400, 'x') + " Terms:1", "2003"},
        // Fields past the terms still count towards the query's 1023 characters.
        {"Query:@4@war@" + std::string(1016, 'x') + " Terms:1", "1=4:war"},
        {"Query:@4@war@" + std::string(1017, 'x') + " Terms:1", "2003"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Formulate(c.line), c.tree) << c.line;
}

TEST(ParseQueryExpression, ResultSetsAndGrammar)
{
    const struct {
        const char *expression, *tree;
    } cases[] = {
        {"RESSET,1.4;:default AND war ", "AND(SET:default,1=4:war)"},
        {"1.1;2.1;3.1;4.1;5.1;6.1;7.1;:x ", "1=1 2=1 3=1 4=1 5=1 6=1:x"},
        {"1.4;,1.4;:( a OR b ", nullptr},
        {"1.4;,1.4;:a OR b )", nullptr},
        {"1.4;,1.4;:AND a ", nullptr},
        {"1.4;:a OR b ", nullptr},
        {"1.4; a ", nullptr},
    };
    for (const auto &c : cases) {
        DbvRPNStructure *tree = nullptr;
        std::string boxes = BoxesShownBy([&] { tree = ParseQueryExpression(c.expression); });
        EXPECT_EQ(tree ? Render(tree) : "(none)", c.tree ? c.tree : "(none)") << c.expression;
        EXPECT_EQ(boxes.find(kBoxLine) != std::string::npos, !tree) << c.expression;
        DbvFreeRPNStructure(tree);
    }
}

TEST(BuildAttributeString, FillsTheSixTypes)
{
    const struct {
        const char *specification;
        int mode;
        const char *attribute_string;
    } cases[] = {
        {"1003", 0, "1.1003;2.0;3.0;4.0;5.0;6.0;"},
        {"4,3,3,1,100,1,9", 0, "1.4;2.3;3.3;4.1;5.100;6.1;"},
        {"4,3", 1, "1.4;2.3;3.0;4.0;5.1;6.0;"},
        {"4,3,3,1,0", 2, "1.4;2.3;3.3;4.1;5.100;6.0;"},
        {"4%s%n", 0, "1.4%s%n;2.0;3.0;4.0;5.0;6.0;"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(BuildAttributeString(c.specification, c.mode), c.attribute_string) << c.specification;
    // 99 characters fit the attribute string's area, 100 do not.
    EXPECT_EQ(BuildAttributeString(std::string(76, '4'), 0).size(), 99u);
    EXPECT_EQ(BuildAttributeString(std::string(77, '4'), 0), "");
}

} // namespace
