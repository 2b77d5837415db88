// CString: the one string type that every part of the shell shares.
// A thin layer over std::wstring (UTF-16 on Windows); handlers take a
// CString& and may change it.  Encodings are converted only at the file,
// pipe and console edges, never here.
#pragma once
#include <string>
#include <string_view>

class CString : public std::wstring {
public:
    using std::wstring::wstring;
    CString() = default;
    CString(const std::wstring &s) : std::wstring(s) {}
    CString(std::wstring &&s) : std::wstring(std::move(s)) {}
    CString(std::wstring_view v) : std::wstring(v) {}
    CString(const wchar_t *s) : std::wstring(s ? s : L"") {}

    // Pointer to the text, never null.
    operator const wchar_t *() const { return c_str(); }
    const wchar_t *GetString() const { return c_str(); }
    int GetLength() const { return (int)size(); }
    bool IsEmpty() const { return empty(); }
    void Empty() { clear(); }

    // Character at i, or 0 past the end (mirrors reading a terminated buffer).
    wchar_t At(size_t i) const { return i < size() ? (*this)[i] : L'\0'; }

    CString Left(size_t n) const { return CString(substr(0, n < size() ? n : size())); }
    CString Mid(size_t from) const { return from < size() ? CString(substr(from)) : CString(); }
    CString Mid(size_t from, size_t n) const { return from < size() ? CString(substr(from, n)) : CString(); }
    CString Right(size_t n) const { return n >= size() ? *this : CString(substr(size() - n)); }

    // Remove n characters at position pos (clamped).
    void Delete(size_t pos, size_t n = 1) {
        if (pos < size()) erase(pos, n);
    }
    void Insert(size_t pos, const wchar_t *s) { insert(pos < size() ? pos : size(), s); }
    void Truncate(size_t n) {
        if (n < size()) resize(n);
    }

    void TrimLeft(const wchar_t *set = L" \t") {
        size_t i = find_first_not_of(set);
        if (i == npos) clear(); else erase(0, i);
    }
    void TrimRight(const wchar_t *set = L" \t") {
        size_t i = find_last_not_of(set);
        if (i == npos) clear(); else resize(i + 1);
    }
    void Trim(const wchar_t *set = L" \t") { TrimRight(set); TrimLeft(set); }
    CString TrimLeftCopy(const wchar_t *set = L" \t") const {
        CString c(*this);
        c.TrimLeft(set);
        return c;
    }

    // Upper/lower case through the system's full Unicode tables.
    void MakeUpper();
    void MakeLower();

    // Case-insensitive comparison (system ordinal rules), like _wcsicmp.
    int CompareNoCase(const wchar_t *other) const;
    bool EqualsNoCase(const wchar_t *other) const { return CompareNoCase(other) == 0; }
    bool StartsWithNoCase(const wchar_t *prefix) const;
    bool StartsWith(const wchar_t *prefix) const { return starts_with(prefix); }

    // Replace all occurrences of what with with; returns the count.
    int Replace(const wchar_t *what, const wchar_t *with);

    // printf-style formatting through the shell's own Sprintf dialect.
    void Format(const wchar_t *format, ...);
    void AppendFormat(const wchar_t *format, ...);
};

// Case-insensitive helpers for plain text, shared by the whole program.
int StrICmp(const wchar_t *a, const wchar_t *b);
int StrNICmp(const wchar_t *a, const wchar_t *b, size_t n);
wchar_t ToUpperChar(wchar_t c);
wchar_t ToLowerChar(wchar_t c);

// Narrow <-> wide at the edges.
CString FromCodePage(const char *bytes, int length, unsigned codePage);
std::string ToCodePage(const wchar_t *text, int length, unsigned codePage);
