#include "ui/table_reader.h"

#include <cstdio>
#include <cstdlib>

namespace {

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r';
}

TableTokenKind KindOfWord(const std::string &word)
{
    size_t digitsFrom = word[0] == '+' || word[0] == '-' ? 1 : 0;
    if (word.size() > digitsFrom && word.find_first_not_of("0123456789", digitsFrom) == std::string::npos)
        return TOKEN_INTEGER;
    char *end = nullptr;
    std::strtod(word.c_str(), &end);
    bool plain = word.find_first_not_of("0123456789+-.eE") == std::string::npos &&
                 word.find_first_of("0123456789") != std::string::npos;
    return plain && *end == '\0' ? TOKEN_DOUBLE : TOKEN_CHARACTERS;
}

// Splits one line into its tokens.
std::vector<TableToken> Tokens(const std::string &line)
{
    std::vector<TableToken> tokens;
    size_t i = 0;
    while (i < line.size()) {
        if (IsBlank(line[i])) {
            i++;
        } else if (line[i] == '#') {
            break;
        } else if (line[i] == '"') {
            std::string text;
            for (i++; i < line.size() && line[i] != '"'; i++) {
                if (line[i] == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\'))
                    i++;
                text += line[i];
            }
            i++;
            tokens.push_back({TOKEN_STRING, text});
        } else {
            size_t end = line.find_first_of(" \t\r\"#", i);
            std::string word = line.substr(i, end == std::string::npos ? std::string::npos : end - i);
            i += word.size();
            tokens.push_back({KindOfWord(word), word});
        }
    }
    return tokens;
}

} // namespace

bool TableOpen(const char *path, TableReader *reader)
{
    FILE *file = std::fopen(path, "rb");
    if (!file)
        return false;
    reader->lines.clear();
    std::string line;
    for (int c = std::fgetc(file);; c = std::fgetc(file)) {
        if (c == '\n' || c == EOF) {
            std::vector<TableToken> tokens = Tokens(line);
            if (!tokens.empty())
                reader->lines.push_back(tokens);
            line.clear();
            if (c == EOF)
                break;
        } else {
            line += static_cast<char>(c);
        }
    }
    std::fclose(file);
    reader->started = false;
    reader->line = 0;
    reader->next = 0;
    return true;
}

bool TableNextLine(TableReader *reader)
{
    if (reader->started && reader->line < reader->lines.size())
        reader->line++;
    reader->started = true;
    reader->next = 0;
    return reader->line < reader->lines.size();
}

TableToken TableLineToken(TableReader *reader)
{
    if (reader->started && reader->line < reader->lines.size() && reader->next < reader->lines[reader->line].size())
        return reader->lines[reader->line][reader->next++];
    return {TOKEN_NULL, std::string()};
}

bool TableNextToken(TableReader *reader, TableToken *token)
{
    while (!reader->started || reader->line >= reader->lines.size() ||
           reader->next >= reader->lines[reader->line].size()) {
        if (!TableNextLine(reader))
            return false;
    }
    *token = TableLineToken(reader);
    return true;
}

const char *TableTokenKindName(int kind)
{
    static const char *const names[] = {"String", "Characters", "Integer", "Double", "Comment", "Null"};
    return kind >= 0 && kind <= TOKEN_NULL ? names[kind] : "Undefined type";
}
