// Query formulation: the fields of the "Query" key become one combined
// expression text, its words a string of one-character symbols checked
// against the query grammar, and the symbols' postfix form the RPN tree.
#include "retrieval/query.h"

#include <cctype>
#include <cstdint>
#include <memory>
#include <vector>

#include "dbv/dbv_build.h"
#include "service/exchange/exchange.h"
#include "ui/dialog.h"

namespace {

// The areas of the stages: a text must fit its area with a terminating NUL.
const size_t kQuerySize = 1024;
const size_t kExpressionSize = 400;
const size_t kAttributeStringSize = 100;
const size_t kAttributeWorkSize = 32;
const size_t kTermWordSize = 1000;
const size_t kPostfixSize = 200;
const size_t kAttributeTypes = 6;

// What the word reader returns when no word is left; a word never holds a
// blank, so no word of the query can be taken for it.
const char kNoSuchToken[] = "NO SUCH TOKEN";

using RpnNode = dbv::Owned<DbvRPNStructure>;

// One term of the query as its fields give it.
struct QueryTerm {
    std::string attributes;         // the attribute specification
    std::string term;               // the search words
    std::string preceding_operator; // joins the term before to this one
};

void ShowQueryError()
{
    ShowMessageBox(InstanceWindow(), "Ostrel Web Client", "Error in query formulation", BOX_ICON_STOP);
}

bool NoSearchTerm()
{
    SetStatus(2004, 0, "Search Request Error - No search term supplied");
    return false;
}

bool SetupFailed()
{
    SetStatus(2003, 0, "Search Request Error - Failed to set up RPN search");
    return false;
}

// The pieces of the text between separators: n separators give n + 1 pieces.
std::vector<std::string> Split(const std::string &text, char separator)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
        pieces.push_back(text.substr(start, end - start));
    pieces.push_back(text.substr(start));
    return pieces;
}

// The position of the first character at or after position that is not c.
size_t Skip(const std::string &text, size_t position, char c)
{
    while (position < text.size() && text[position] == c)
        ++position;
    return position;
}

// The value of a name=value field; a field without "=" is all value.
std::string FieldValue(const std::string &field)
{
    size_t equals = field.find('=');
    return equals == std::string::npos ? field : field.substr(equals + 1);
}

// The first term_count terms of the query text, whose "@"-separated fields
// are, term by term, the attribute specification, the term and (between
// two terms) the operator. Terms whose fields are missing are left out:
// they would be empty.
std::vector<QueryTerm> SplitQuery(const std::string &query, long term_count)
{
    std::vector<std::string> fields = Split(query.substr(query[0] == '@' ? 1 : 0), '@');
    std::vector<QueryTerm> terms;
    for (size_t first = 0; first < fields.size() && static_cast<long>(terms.size()) < term_count; first += 3) {
        QueryTerm term;
        term.attributes = FieldValue(fields[first]);
        if (first + 1 < fields.size())
            term.term = FieldValue(fields[first + 1]);
        if (first > 0)
            term.preceding_operator = FieldValue(fields[first - 1]);
        terms.push_back(term);
    }
    return terms;
}

// The combined expression: the attribute strings of the non-empty terms
// separated by ",", a ":", then each such term followed by a blank, with
// its operator before it when an earlier term was written. False when an
// attribute string is too long.
bool CombineTerms(const std::vector<QueryTerm> &terms, std::string *expression)
{
    std::string attributes;
    std::string words;
    for (const QueryTerm &term : terms) {
        if (term.term.empty())
            continue;
        std::string attribute_string = BuildAttributeString(term.attributes, 0);
        if (attribute_string.empty())
            return false;
        if (!attributes.empty())
            attributes += ",";
        attributes += attribute_string;
        if (!words.empty())
            words += term.preceding_operator + " ";
        for (char c : term.term)
            words += c == '+' ? ' ' : c;
        words += " ";
    }
    *expression = attributes + ":" + words;
    return true;
}

// Reads the blank-delimited words of the expression proper.
struct WordReader {
    const std::string &text;
    size_t position;
    size_t word_start;
};

// The next word, or kNoSuchToken when none is left.
std::string NextWord(WordReader &reader)
{
    reader.word_start = Skip(reader.text, reader.position, ' ');
    reader.position = reader.text.find(' ', reader.word_start);
    if (reader.position == std::string::npos)
        reader.position = reader.text.size();
    if (reader.word_start == reader.position)
        return kNoSuchToken;
    return reader.text.substr(reader.word_start, reader.position - reader.word_start);
}

// The symbol of an operator word; 0 for any other word.
char OperatorSymbol(const std::string &word)
{
    if (word == "AND")
        return '*';
    if (word == "OR")
        return '+';
    if (word == "AND-NOT")
        return '-';
    if (word == "(" || word == ")")
        return word[0];
    return 0;
}

// The phrase that the word just read opens with "/": the text after the
// opening slashes up to the next "/", blanks and operator words included.
// The closing slashes and the blanks after them are passed over.
std::string ReadPhrase(WordReader &reader)
{
    const std::string &text = reader.text;
    size_t start = Skip(text, reader.word_start, '/');
    size_t end = text.find('/', start);
    if (end == std::string::npos)
        end = text.size();
    std::string phrase = text.substr(start, end - start);
    phrase.erase(phrase.find_last_not_of(' ') + 1);
    reader.position = Skip(text, Skip(text, end, '/'), ' ');
    return phrase;
}

// The symbol string of the expression proper: "{", then "*", "+", "-",
// "(" or ")" for each operator word and the character "0" + n for term n,
// then "}". Adjacent words that are not operators form one term. False
// when a term is too long.
bool Tokenise(const std::string &expression, std::vector<std::string> *terms, std::string *symbols)
{
    WordReader reader = {expression, 0, 0};
    *symbols = "{";
    std::string word = NextWord(reader);
    while (word != kNoSuchToken) {
        if (char symbol = OperatorSymbol(word)) {
            *symbols += symbol;
            word = NextWord(reader);
            continue;
        }
        std::string term = word[0] == '/' ? ReadPhrase(reader) : word;
        for (word = NextWord(reader); word != kNoSuchToken && !OperatorSymbol(word); word = NextWord(reader))
            term += " " + word;
        if (term.size() >= kTermWordSize)
            return false;
        // From the eleventh term on the symbol is no digit, and the grammar
        // refuses it: ten terms is the limit.
        *symbols += static_cast<char>('0' + terms->size());
        terms->push_back(term);
    }
    *symbols += "}";
    return true;
}

// The grammar reader over the symbol string, with one symbol of push-back;
// it writes the postfix form as it goes.
struct SymbolReader {
    const std::string &symbols;
    size_t position;
    int pushed_back; // -1 when none
    std::string postfix;
};

// The next symbol after any white space; -1 at the end.
int NextSymbol(SymbolReader &reader)
{
    if (reader.pushed_back >= 0) {
        int symbol = reader.pushed_back;
        reader.pushed_back = -1;
        return symbol;
    }
    const std::string &symbols = reader.symbols;
    while (reader.position < symbols.size() && std::isspace(static_cast<unsigned char>(symbols[reader.position])))
        ++reader.position;
    return reader.position < symbols.size() ? static_cast<unsigned char>(symbols[reader.position++]) : -1;
}

bool Emit(SymbolReader &reader, int symbol)
{
    if (reader.postfix.size() + 1 >= kPostfixSize)
        return false;
    reader.postfix += static_cast<char>(symbol);
    return true;
}

bool ReadExpression(SymbolReader &reader);

// factor: a digit, or "(" expression ")".
bool ReadFactor(SymbolReader &reader)
{
    int symbol = NextSymbol(reader);
    if (symbol >= '0' && symbol <= '9')
        return Emit(reader, symbol);
    return symbol == '(' && ReadExpression(reader) && NextSymbol(reader) == ')';
}

// product: factor, then any number of "*" factor.
bool ReadProduct(SymbolReader &reader)
{
    if (!ReadFactor(reader))
        return false;
    for (;;) {
        int symbol = NextSymbol(reader);
        if (symbol != '*') {
            reader.pushed_back = symbol;
            return true;
        }
        if (!ReadFactor(reader) || !Emit(reader, symbol))
            return false;
    }
}

// expression: product, then any number of "+" product or "-" product.
bool ReadExpression(SymbolReader &reader)
{
    if (!ReadProduct(reader))
        return false;
    for (;;) {
        int symbol = NextSymbol(reader);
        if (symbol != '+' && symbol != '-') {
            reader.pushed_back = symbol;
            return true;
        }
        if (!ReadProduct(reader) || !Emit(reader, symbol))
            return false;
    }
}

// Checks the symbol string (query: "{" expression "}"); true with its
// postfix form when it fits the grammar.
bool ReadQuery(const std::string &symbols, std::string *postfix)
{
    SymbolReader reader = {symbols, 0, -1, std::string()};
    if (NextSymbol(reader) != '{' || !ReadExpression(reader) || NextSymbol(reader) != '}')
        return false;
    *postfix = reader.postfix;
    return true;
}

// The decimal number that the text begins with (0 when it begins with no
// digit); false when it does not fit 32 bits.
bool ReadDecimal(const std::string &text, uint32_t *value)
{
    uint64_t number = 0;
    for (size_t i = 0; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        number = number * 10 + static_cast<uint64_t>(text[i] - '0');
        if (number > UINT32_MAX)
            return false;
    }
    *value = static_cast<uint32_t>(number);
    return true;
}

struct AttributePair {
    uint32_t type;
    uint32_t value;
};

// The pairs of an attribute string ("type.value;" ...) whose value is not
// 0, at most six, in the string's order. False when the string is too long
// for its work area, a pair has no "." or a number does not fit 32 bits.
bool ReadAttributePairs(const std::string &attributes, std::vector<AttributePair> *pairs)
{
    if (attributes.size() >= kAttributeWorkSize)
        return false;
    for (const std::string &piece : Split(attributes, ';')) {
        if (piece.empty())
            continue;
        size_t dot = piece.find('.');
        AttributePair pair;
        if (dot == std::string::npos || !ReadDecimal(piece.substr(0, dot), &pair.type) ||
            !ReadDecimal(piece.substr(dot + 1), &pair.value))
            return false;
        if (pair.value != 0 && pairs->size() < kAttributeTypes)
            pairs->push_back(pair);
    }
    return true;
}

// The operand of a term: a reference to the result set the term names when
// its attribute string is "RESSET", else the term with its attributes.
// NULL when the attribute string cannot be read.
RpnNode MakeOperand(const std::string &attributes, const std::string &term)
{
    bool result_set = attributes == "RESSET";
    std::vector<AttributePair> pairs;
    if (!result_set && !ReadAttributePairs(attributes, &pairs))
        return RpnNode(nullptr, DbvFreeRPNStructure);
    // Each part is linked into the node as soon as it exists, so the node
    // releases whatever was built if an allocation fails.
    RpnNode node(dbv::New<DbvRPNStructure>(), DbvFreeRPNStructure);
    node->eRpnStructureType = RST_RpnOperand;
    DbvOperand *operand = node->uRPNStructure.psRpnOperand = dbv::New<DbvOperand>();
    if (result_set) {
        operand->eOperandType = OPD_ResultSetId;
        operand->uOperand.psResultSetId = dbv::Octets(term);
        return node;
    }
    operand->eOperandType = OPD_AttributesPlusTerm;
    DbvAttributesPlusTerm *operand_term = operand->uOperand.psAttributesPlusTerm = dbv::New<DbvAttributesPlusTerm>();
    operand_term->ppsAttributeElement =
        static_cast<DbvAttributeElement **>(dbv::Allocate((pairs.size() + 1) * sizeof(DbvAttributeElement *)));
    for (size_t i = 0; i < pairs.size(); ++i)
        operand_term->ppsAttributeElement[i] = NumericAttribute(pairs[i].type, pairs[i].value);
    operand_term->sTerm.eTermType = TT_General;
    operand_term->sTerm.uTerm.psGeneral = dbv::Octets(term);
    return node;
}

// The tree of a postfix string that the grammar accepted: a digit d is the
// operand of term d with attribute string d, an operator joins the two
// nodes before it. NULL when a term has no attribute string or its
// attribute string cannot be read.
DbvRPNStructure *BuildTree(const std::string &postfix, const std::vector<std::string> &attributes,
                           const std::vector<std::string> &terms)
{
    std::vector<RpnNode> stack;
    stack.reserve(postfix.size());
    for (char symbol : postfix) {
        if (symbol >= '0' && symbol <= '9') {
            size_t index = static_cast<size_t>(symbol - '0');
            if (index >= attributes.size())
                return nullptr;
            RpnNode operand = MakeOperand(attributes[index], terms[index]);
            if (!operand)
                return nullptr;
            stack.push_back(std::move(operand));
            continue;
        }
        // The grammar puts two nodes on the stack before every operator.
        RpnNode node(dbv::New<DbvRPNStructure>(), DbvFreeRPNStructure);
        node->eRpnStructureType = RST_RpnLopRopOperator;
        DbvRpnLopRopOperator *join = node->uRPNStructure.psRpnLopRopOperator = dbv::New<DbvRpnLopRopOperator>();
        join->sOperator.eOperatorType = symbol == '*' ? OPR_And : symbol == '+' ? OPR_Or : OPR_AndNot;
        join->psRightOperand = stack.back().release();
        stack.pop_back();
        join->psLeftOperand = stack.back().release();
        stack.pop_back();
        stack.push_back(std::move(node));
    }
    return stack.back().release();
}

// The value of a key of the current request, read into an area as large as
// the whole request so that no value is ever cut.
std::string RequestText(const char *key, const char *default_value)
{
    char value[kRequestSize];
    RequestString(key, value, sizeof value, default_value);
    return value;
}

// The identifier of an attribute set name, matched exactly; BIB-1 for a
// name outside the table.
const char *AttributeSetId(const std::string &name)
{
    static const struct {
        const char *name;
        const char *id;
    } kAttributeSets[] = {
        {"CIMI", OID_ATTSET_CIMI},
        {"CIP", OID_ATTSET_CIP},
        {"BIB1", OID_ATTSET_BIB1},
    };
    for (const auto &set : kAttributeSets)
        if (name == set.name)
            return set.id;
    return OID_ATTSET_BIB1;
}

} // namespace

std::string BuildAttributeString(const std::string &specification, int truncation_mode)
{
    std::vector<std::string> values = Split(specification, ',');
    values.resize(kAttributeTypes, "0");
    if (truncation_mode == 1)
        values[4] = "1";
    else if (truncation_mode != 0)
        values[4] = "100";
    std::string attribute_string;
    for (size_t i = 0; i < kAttributeTypes; ++i)
        attribute_string += std::to_string(i + 1) + "." + values[i] + ";";
    return attribute_string.size() < kAttributeStringSize ? attribute_string : std::string();
}

DbvRPNStructure *ParseQueryExpression(const char *expression)
{
    std::string text = expression;
    size_t colon = text.find(':');
    std::vector<std::string> terms;
    std::string symbols;
    std::string postfix;
    DbvRPNStructure *tree = nullptr;
    if (text.size() < kExpressionSize && colon != std::string::npos &&
        Tokenise(text.substr(colon + 1), &terms, &symbols) && ReadQuery(symbols, &postfix))
        tree = BuildTree(postfix, Split(text.substr(0, colon), ','), terms);
    if (!tree)
        ShowQueryError();
    return tree;
}

DbvAttributeElement *NumericAttribute(uint32_t type, uint32_t value)
{
    DbvAttributeElement *element = dbv::New<DbvAttributeElement>();
    element->ulAttributeType = type;
    element->sAttributeValue.eAttributeValueType = AVT_Numeric;
    element->sAttributeValue.uAttributeValue.ulNumeric = value;
    return element;
}

bool FormulateQuery(DbvSearchReq *request)
{
    std::string query = RequestText("Query", "");
    long term_count;
    RequestInteger("Terms", &term_count, 0);
    std::string database = RequestText("Database", "KESTRA");
    std::string attribute_set = RequestText("AnsiAttributeSet", "BIB1");

    if (query.empty() || term_count < 1)
        return NoSearchTerm();
    if (query.size() >= kQuerySize) {
        ShowQueryError();
        return SetupFailed();
    }
    std::vector<QueryTerm> terms = SplitQuery(query, term_count);
    bool any_term = false;
    for (QueryTerm &term : terms) {
        // Lower-case terms never match the operator words, which are
        // compared case-sensitively: a search for "and" stays a word.
        for (char &c : term.term)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        any_term = any_term || !term.term.empty();
        if (term.preceding_operator == "AND NOT")
            term.preceding_operator = "AND-NOT";
    }
    if (!any_term)
        return NoSearchTerm();

    std::string expression;
    if (!CombineTerms(terms, &expression)) {
        ShowQueryError();
        return SetupFailed();
    }
    RpnNode tree(ParseQueryExpression(expression.c_str()), DbvFreeRPNStructure);
    if (!tree)
        return SetupFailed();

    // Every part belongs to the request from the moment it exists (the
    // name list starts empty), so the request releases it if an allocation
    // fails further on.
    request->ppsDatabaseNames = dbv::List<DbvOctetString>({nullptr});
    request->ppsDatabaseNames[0] = dbv::Octets(database);
    request->psQuery = dbv::New<DbvQuery>();
    request->psQuery->eQueryType = QT_Rpn;
    DbvRPNQuery *rpn = request->psQuery->uQuery.psRpnQuery = dbv::New<DbvRPNQuery>();
    rpn->pcAttributeSetId = dbv::Text(AttributeSetId(attribute_set));
    // The root moves into the query's own field; its shell is released.
    rpn->sRpnStructure = *tree;
    MemFree(tree.release());
    return true;
}
