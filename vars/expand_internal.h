// The pieces of VariableExpansion that live in separate files: the state of
// one call, what a form yields, and the functions that read each form.
// Only the files of the expansion engine include this.
#pragma once
#include "base/cstring.h"

// One call of VariableExpansion.  Text left of pos is final; limit is the
// end of the line's first command, found anew at the top of every pass.
struct Expansion {
    CString &line;
    int nested;
    size_t pos = 0;
    size_t limit = 0;
    bool group = false;                     // the line is a command group: "(...)"
    size_t delayedAt = CString::npos;       // where a !name! was turned into %name%
    int repeat = 0;                         // passes in a row that found their % at lastPos
    size_t lastPos = 0;
    int nestedInsertions = 0;               // values holding a "%" that were scanned again
};

// What one reference yields.  With no value the reference has vanished.
struct Found {
    bool hasValue = false;
    bool endCall = false;    // the value is inserted and the whole call ends
    CString value;
    int rescan = 0;          // 0, FUNC_NO_RESCAN or FUNC_USER_RESULT
    void Set(const CString &v) {
        hasValue = true;
        value = v;
    }
};

// Expansion of the text of a bracketed form when it holds a "%", at most
// 20 deep.  0 or the error already reported.
int BracketExpansion(CString &text);

// The forms that begin with "(", "[" or "@" at x.pos (the "%" already
// gone).  Returns 0 with *handled false when the text is no such form.
int ExpandBracketForm(Expansion &x, Found &found, bool *handled);

// "%name[i,j]" when name is an array; *handled false when it is none.
int ExpandArrayReference(Expansion &x, Found &found, bool *handled);

// All other references: modifiers, names, batch arguments and the rest.
int ExpandNamedReference(Expansion &x, Found &found);

// The value of a name that was read, through the sources in their order.
// modifiers: the %~ letters (hasModifiers even when there are none, as in
// %~1); searchVar: the variable of a %~$NAME: search; nameClosed: the name
// had its closing "%".
int NameValue(Expansion &x, const CString &name, const CString &modifiers, const CString &searchVar,
              bool hasModifiers, bool nameClosed, Found &found);

// The value of an environment variable: the one place that reads it.
bool EnvironmentValue(const CString &name, CString *value);

// Pseudo-variables (ERRORLEVEL, CD, DATE, TIME, RANDOM...): false when the
// name is none of them or has no value now.
bool PseudoVariableValue(const CString &name, CString *value);

// Batch argument forms (%0..%n, %n$, %-n$, %*, %@, %#) in the current frame.
// False when the name is no argument form or no batch file runs.
// modifiers: the %~ letters, or null when the reference has no "~".
bool BatchArgumentValue(const CString &name, const CString *modifiers, CString *value);

// A GOSUB's local parameter in the current frame.
bool GosubVariableValue(const CString &name, CString *value);

// Apply the %~ modifier letters (without the "~") to a file name, with an
// optional search path variable ($NAME:).  0 or the error already reported.
int ApplyModifiers(const CString &letters, const CString &searchVar, const CString &name, CString *value);

// Inline arithmetic %((...)) and conditions %[[...]]: text in, value out.
int InlineExpression(CString &text);
int InlineCondition(CString &text);

// %(command): runs the command with its output captured into *output.
