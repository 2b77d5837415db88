// The colour syntax: "[BRIght] fg [ON] [BRIght] bg", a number, and the
// table of the 16 console colours.  A colour is one byte: low nibble
// foreground, high nibble background, in the console's own numbering.
#pragma once
#include "base/cstring.h"

struct ANSI_COLORS {
    const wchar_t *pszName;
    int nANSI;      // SGR code of the foreground; 0 for the bright half
};
extern const ANSI_COLORS aColors[16];

// Parse colours at the front of text.  foreground and background take the
// values found, or -1; the result points behind the last word used.
const wchar_t *ParseColors(const wchar_t *text, int *foreground, int *background);

// One "[BRIght] colour" at the front of text: *color takes it, or -1; the
// result points behind it.
const wchar_t *ParseColor(const wchar_t *text, int *color);

// The colour byte at the front of text, or -1 when the foreground or the
// background is missing.  text is left holding what follows the colours.
int GetColors(CString &text);
