// Regular expressions: a thin front over Oniguruma that picks the syntax of
// the RegularExpressions option, converts the text's encoding and maps the
// results to pointers; above it the search-and-replace routines.  Every call
// compiles its pattern anew: no state survives a call.
#pragma once
#include <oniguruma.h>
#include "base/cstring.h"

// Encodings of a subject.
enum : int { REGEX_ASCII = 0, REGEX_UTF16 = 1, REGEX_UTF8 = 2 };

// The syntax that the RegularExpressions option names (Perl for any value
// out of range).
OnigSyntaxType *RegexSyntax();

// Search subject (in the given encoding) between *start and *end.  On entry
// *region is the group wanted (0: the whole match); on return *start and
// *end bound that group's text (null when there was no match or no such
// group) and *region is 1 after a match, else 0.  syntax null: the option's.
// Returns 0 when the search ran, or Oniguruma's (negative) code when the
// pattern does not compile (reported through BDError unless quiet).
int RegularExpressionEx(const wchar_t *pattern, unsigned char *subject, unsigned char **start, unsigned char **end,
                        unsigned int *region, int options, int encoding, int quiet, const OnigSyntaxType *syntax);
int RegularExpression(const wchar_t *pattern, unsigned char *subject, unsigned char **start, unsigned char **end,
                      unsigned int *region, int options, int encoding, int quiet);

// Replace matches of pattern in subject by replacement, whose \1 to \9 and
// \{n} stand for groups, \n, \r and \t for line ends and tabs, and \\ for a
// backslash.  A pattern "n$rest" replaces at most n matches of rest.  With
// filenameOnly only the file-name part of subject is worked on.  A
// replacement holding "::" keeps what stands before it as a path.  Returns 0
// or an error code (already reported).
int BackRefReplace(CString &result, const wchar_t *replacement, const wchar_t *subject, const wchar_t *pattern,
                   int filenameOnly);
// A target name "::template" for a source file matched by pattern: target
// becomes the template with its group references filled from the match.
// Returns 0, 1 when the source does not match, or an error code.
int RegexReplace(CString &target, const wchar_t *source, const wchar_t *pattern);

// 1 when pattern matches anywhere in text, 0 when not, -1 after reporting
// a bad pattern.
int RegularExpressionMatch(const CString &pattern, const CString &text);
// The same without a report: 1, 0, or Oniguruma's negative code.
int RegularExpressionMatchQuiet(const wchar_t *pattern, const CString &text);
// The offset (in characters) and length of group n of the first match of
// pattern in text; 1 after a match, 0 when there is none, negative after a
// bad pattern (reported).  A group that took no part gives offset -1.
int RegularExpressionFind(const wchar_t *pattern, const CString &text, unsigned group, int *offset, int *length);
