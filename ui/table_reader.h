/* The table token reader of the toolkit's small text tables (the target
 * names file, the GRS-1 tag-name table).
 *
 * Lexical rules:
 * - A table is read line by line; a line ends at LF, CR LF or the end of
 *   the file. Blanks and tabs separate tokens; a line with no tokens
 *   (blank, or a comment only) is skipped as a whole.
 * - '#' where a token could start begins a comment that runs to the end
 *   of the line. Comments are never delivered as tokens.
 * - "..." is a String: the characters between the double quotes, blanks
 *   included; \" stands for a quote and \\ for a backslash. A String left
 *   open at the end of its line ends there.
 * - A bare word (any run of characters other than blanks, tabs, '"' and
 *   '#') is an Integer when it is an optional sign and decimal digits, a
 *   Double when it is a decimal number with a point or an exponent, and
 *   Characters otherwise.
 * - Null is the kind of the "token" read past the last one of a line.
 * So a target names entry reads  "z3950" "z3950.example.org" "210"  and a
 * tag-name line  2 1 "Title" True. */
#ifndef KESTRA_UI_TABLE_READER_H
#define KESTRA_UI_TABLE_READER_H

#include <stddef.h>

#include <string>
#include <vector>

typedef enum TableTokenKind {
    TOKEN_STRING = 0,
    TOKEN_CHARACTERS = 1,
    TOKEN_INTEGER = 2,
    TOKEN_DOUBLE = 3,
    TOKEN_COMMENT = 4,
    TOKEN_NULL = 5
} TableTokenKind;

typedef struct TableToken {
    TableTokenKind kind;
    std::string text; /* a String without its quotes; a bare word as written */
} TableToken;

/* The whole table, read at open: the file is closed again at once. */
typedef struct TableReader {
    std::vector<std::vector<TableToken>> lines; /* lines with at least one token */
    bool started;                               /* TableNextLine has been called */
    size_t line;                                /* the current line; lines.size() past the last */
    size_t next;                                /* the next token of the current line */
} TableReader;

/* false when the file cannot be opened. */
bool TableOpen(const char *path, TableReader *reader);

/* Moves to the next line; false at the end of the table. */
bool TableNextLine(TableReader *reader);
/* The next token of the current line, or a Null token past its last one. */
TableToken TableLineToken(TableReader *reader);
/* The next token of the table across line ends; false at its end. */
bool TableNextToken(TableReader *reader, TableToken *token);

/* "String", "Characters", "Integer", "Double", "Comment", "Null" or
 * "Undefined type". */
const char *TableTokenKindName(int kind);

#endif
