// What the variable function families share: the record of one call, the
// case numbers generated from functions.def, the handlers, and the argument
// helpers that every family uses in the same way.
#pragma once
#include <vector>
#include "base/cstring.h"
#include "base/options.h"
#include "base/platform.h"

// The families of the function table.
enum FunctionFamily : int {
    FF_StringPosition, FF_StringContent, FF_CharTest, FF_Arithmetic, FF_DateTime,
    FF_FileHandle, FF_FileName, FF_Buffer, FF_Registry, FF_Command, FF_Regex, FF_Hash,
    FF_Drive, FF_System, FF_Serial, FF_IniFile, FF_Script, FF_Plugin, FF_Xml, FF_DocStore,
    FF_Archive, FF_Afs, FF_Bluetooth,
};

// Case numbers: a function's row in the table (FC_left, FC_word, ...).
enum FunctionCase : int {
#define BD_FUNCTION(name, family, handler) FC_##name,
#include "vars/functions.def"
#undef BD_FUNCTION
    FC_COUNT
};

// One call of a built-in function.
struct FUNCCALL {
    CString &name;      // the name with its "@", as written
    CString &args;      // the expanded argument text; receives the value
    int nCase;          // the row of the table
    CString firstArg;   // the first argument (white space and comma delimited)
    CString drive;      // the drive of firstArg, for the disk functions
};

#define BD_FUNCTION(name, family, handler) int handler(FUNCCALL &call);
#include "vars/functions.def"
#undef BD_FUNCTION

// Table queries: the row of a name (without "@", any case) or -1; the name
// and family of a row.
int FindFunctionCase(const wchar_t *name);
const wchar_t *QueryFunctionName(int index);
int QueryFunctionFamily(int index);

// The value of a user-defined function: body is the list entry's text,
// funcName the name as called (with or without "@"), args the argument text,
// which receives the value.  Returns FUNC_USER_RESULT, or -2 after an error.
int ExpandUserFunction(const wchar_t *body, const CString &funcName, CString &args);

// Shared argument habits.
// "n,string": a number ("%i": decimal or 0x hexadecimal) and everything
// behind the comma, spaces kept.  False when the number or comma is missing.
bool ReadCountAndText(const CString &args, int *n, CString *text);
// Split at the first comma outside double quotes and back-quotes (an
// escaped comma does not split).  False when there is no such comma.
bool SplitAtComma(const CString &text, CString *left, CString *right);
// A text wholly inside one pair of double quotes loses them.
CString WithoutEnclosingQuotes(const CString &text);
// The escape character, or 0 while SETDOS /X has escapes off.
inline wchar_t ActiveEscapeChar() { return (ParseFlagsValue() & PF_NO_ESCAPES) ? 0 : EscapeCharValue(); }
// A file name argument: blanks around it and its double quotes removed.
CString NameArgument(const CString &text);
// "name[,rest]": the name (as NameArgument) and what follows its first
// unquoted comma, trimmed; rest is empty without a comma.
void NameAndRest(const CString &args, CString *name, CString *rest);
// Store a number as the value.
int SetNumber(CString &args, long long value);
// A system error code as a function's result: never 0 (success) and never
// 1 (which tells the dispatcher that the name is unknown).
int SystemError(DWORD code = GetLastError());
// The arguments split at every comma outside double quotes and back-quotes
// (an empty text gives none; "a," gives "a" and an empty one).
std::vector<CString> SplitArguments(const CString &args);
// One integer ("%I64i": decimal or 0x hexadecimal) that is the whole text,
// blanks around it aside.
bool ReadWholeNumber(const CString &text, long long *value);

// The longest value a function builds (characters); a longer one is
// refused with ERROR_BD_RESULT_TOO_LONG rather than exhausting memory.
constexpr size_t kMaxFunctionValue = 0x100000;
// A byte count in the unit a scale text names: b (bytes), k K m M g G t T
// (thousands or 1024s); a "c" behind it puts in thousands separators.
// Returns 0 or 87 for an unknown scale.
int ScaleByteCount(unsigned long long bytes, const CString &unit, CString &value);

// The value of a text file, line by line, in the file's own encoding
// (UTF-16 and UTF-8 with or without a mark, else the ANSI code page).
// Returns 0 or a system error code.
int ReadTextLines(const wchar_t *fileName, std::vector<CString> *lines);

// Pure pieces of the number and character families.
bool QueryIsPrime(unsigned long long n);
CString ToBase(unsigned long long value, int base);
bool QueryIsFloat(const CString &text);

// The bytes of a buffer or shared memory block that @BALLOC or @SMOPEN
// gave (handle text in hexadecimal): offset and length must lie inside it.
// Returns 0, 87 for a bad range, or ERROR_INVALID_HANDLE.
int QueryBufferRange(const CString &handle, long long offset, long long length, unsigned char **data, size_t *size);
// The full path of a file name (the name itself when it has none).
CString FullPathOf(const CString &name);
// The system handle of a file that @FILEOPEN opened, by its number; 0 or
// ERROR_INVALID_HANDLE.
int QueryOpenFile(long long number, HANDLE *h);
