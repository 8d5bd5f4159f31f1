// Query formulation: the "Query" and "Terms" of a SEARCH request become the
// request's Type-1 (RPN) query, in four stages: the fields of each term, one
// combined expression text, a string of one-character symbols checked
// against the query grammar (AND binds tighter than OR and AND-NOT), and the
// tree built from its postfix form.
#ifndef KESTRA_RETRIEVAL_QUERY_H
#define KESTRA_RETRIEVAL_QUERY_H

#include <string>

#include "dbv/dbvproto.h"

// Fills the request's query (under the attribute set that
// "AnsiAttributeSet" names) and its one database ("Database"). True when
// both were set; false with the status set (2004 no term, 2003 a query that
// cannot be formulated) otherwise. What was filled belongs to the request.
bool FormulateQuery(DbvSearchReq *request);

// An attribute element of the query's own attribute set with a numeric value.
DbvAttributeElement *NumericAttribute(uint32_t type, uint32_t value);

// The attribute string of one term: "type.value;" for the six attribute
// types in order (use, relation, position, structure, truncation,
// completeness), taking the comma-separated values of the attribute specification
// and "0" for those it leaves out. Truncation mode 0 keeps the given
// truncation, 1 always writes 1 and any other mode 100. Returns the
// string, or an empty one when it would exceed 99 characters.
std::string BuildAttributeString(const std::string &specification, int truncation_mode);

// The RPN tree of a combined expression (the terms' attribute strings
// separated by ",", a ":", then the terms and operator words). Returns the
// tree, which the caller frees with DbvFreeRPNStructure, or NULL after the
// "Error in query formulation" message box when the expression is not a
// valid query.
DbvRPNStructure *ParseQueryExpression(const char *expression);

#endif
