// File name functions: the parts of a name (@PATH, @NAME, @EXT,
// @FILENAME, @PARSE), its other forms (@FULL, @LFN, @SFN, @TRUENAME, @UNC,
// @WINPATH, @WSLPATH), the search along a path (@SEARCH), new names
// (@UNIQUE), and the functions that walk a directory: @FILES, @FOLDERS,
// @FILESIZE, @EXPAND and the @FINDFIRST, @FINDNEXT, @FINDCLOSE search.
#include "base/args.h"
#include "files/files.h"
#include "files/paths.h"
#include "files/search.h"
#include "vars/expand_internal.h"
#include "vars/func_internal.h"
#include <winnetwk.h>

namespace {

// A full name as the user sees it (no long-path prefix); false when the
// name can't be made full.
bool FullName(const CString &given, CString *full) {
    CString name = given;
    if (!CreateFullPathName(name, 1)) return false;
    *full = WithoutVLFN(name);
    return true;
}

CString BaseName(const CString &name) {
    CString file = FilenamePart(name.c_str());
    const wchar_t *dot = ExtensionPart(file.c_str());
    return dot ? file.Left((size_t)(dot - file.c_str())) : file;
}

}  // namespace

CString NameArgument(const CString &text) {
    CString name = text;
    name.Trim();
    StripQuotes_S(name);
    return name;
}

void NameAndRest(const CString &args, CString *name, CString *rest) {
    if (!SplitAtComma(args, name, rest)) {
        *name = args;
        rest->clear();
    }
    *name = NameArgument(*name);
    rest->Trim();
}

// @PATH[name] the directory part with its separator; @NAME[name] the name
// without extension; @EXT[name] the extension without its dot;
// @FILENAME[name] name and extension.  The name need not exist.
int Func_NamePart(FUNCCALL &call) {
    CString name = NameArgument(call.args), part;
    switch (call.nCase) {
    case FC_path: PathPart(name.c_str(), &part); break;
    case FC_name: part = BaseName(name); break;
    case FC_ext: {
        const wchar_t *dot = ExtensionPart(FilenamePart(name.c_str()));
        part = dot ? CString(dot + 1) : CString();
        break;
    }
    default: part = FilenamePart(name.c_str()); break;
    }
    call.args = part;
    return 0;
}

// @PARSE[name,letters]: the name through the letters of the %~ modifiers
// (d drive, p path, n name, x extension, f full name, s short form,
// a attributes, t time stamp, z size).
int Func_Parse(FUNCCALL &call) {
    CString name, letters;
    NameAndRest(call.args, &name, &letters);
    for (wchar_t c : letters)
        if (!wcschr(L"dpnxfsatzDPNXFSATZ", c)) return ERROR_INVALID_PARAMETER;
    CString value;
    if (int rc = ApplyModifiers(letters, CString(), name, &value)) return rc;
    call.args = value;
    return 0;
}

// @FULL[name] the full name; @LFN[name] its long form; @SFN[name] its 8.3
// form (the long one where there is none); @TRUENAME[name] the name behind
// substituted and network drives; @UNC[name] the network name of a name
// on a mapped drive.
int Func_FullName(FUNCCALL &call) {
    CString name = NameArgument(call.args), full;
    if (name.empty()) name = L".";
    if (call.nCase == FC_truename) {
        if (int rc = QueryTrueName(name.c_str(), &full)) return rc;
        call.args = full;
        return 0;
    }
    if (!FullName(name, &full)) return ERROR_PATH_NOT_FOUND;
    if (call.nCase == FC_lfn) GetLongName(full);
    else if (call.nCase == FC_sfn) GetShortName(full);
    else if (call.nCase == FC_unc) {
        std::string buffer(4096, '\0');
        DWORD size = (DWORD)buffer.size();
        if (WNetGetUniversalNameW(full.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer.data(), &size) == NO_ERROR)
            full = reinterpret_cast<UNIVERSAL_NAME_INFOW *>(buffer.data())->lpUniversalName;
    }
    call.args = full;
    return 0;
}

// @WSLPATH[name]: a Windows name as the Linux subsystem sees it
// ("c:\x\y" is "/mnt/c/x/y"); @WINPATH[path] the other way.
int Func_WslPath(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    if (call.nCase == FC_wslpath) {
        CString full;
        if (!FullName(name, &full)) return ERROR_PATH_NOT_FOUND;
        full.Replace(L"\\", L"/");
        if (full.At(1) == L':') full = L"/mnt/" + CString(1, ToLowerChar(full[0])) + full.Mid(2);
        if (full.size() > 1 && full.back() == L'/') full.pop_back();
        call.args = full;
        return 0;
    }
    if (name.StartsWith(L"/mnt/") && name.size() >= 6 && (name.size() == 6 || name[6] == L'/'))
        name = CString(1, ToUpperChar(name[5])) + L":" + (name.size() == 6 ? CString(L"/") : name.Mid(6));
    name.Replace(L"/", L"\\");
    call.args = name;
    return 0;
}

// @SEARCH[name[,path]]: the full name of the program (or with an extension,
// the file) found in the current directory or along PATH (or the list of
// directories given); empty when there is none.
int Func_Search(FUNCCALL &call) {
    CString name, list;
    NameAndRest(call.args, &name, &list);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    StripQuotes_S(list);
    call.args = SearchPaths(name.c_str(), list.empty() ? nullptr : list.c_str(), 0, nullptr, nullptr);
    return 0;
}

// @UNIQUE[[dir[,prefix]]]: creates a new empty file of a name not used
// yet, in dir (the current directory by default); the value is its name.
int Func_Unique(FUNCCALL &call) {
    CString dir, prefix;
    NameAndRest(call.args, &dir, &prefix);
    StripQuotes_S(prefix);
    if (dir.empty()) dir = L".";
    if (!CreateFullPathName(dir, 0)) return -2;
    if (int rc = UniqueFileName(dir, prefix.c_str())) return rc;
    call.args = WithoutVLFN(dir);
    return 0;
}

namespace {

// What the directory functions take: "[/H,]pattern[,attributes]"; /H
// leaves out "." and "..".  The attributes are those of /A:.
struct PATTERNARGS {
    CString sPattern;
    FILESEARCH aSearch;
    unsigned long nFlags = FILE_ATTRIBUTE_DIRECTORY | FIND_NO_ERRORS;
    CString sRest;
};

bool ReadPatternArguments(const CString &args, PATTERNARGS *p, bool withAttributes = true) {
    CString text = args, first, rest;
    text.TrimLeft();
    if (text.StartsWithNoCase(L"/H,") || text.StartsWithNoCase(L"/H ")) {
        p->nFlags |= FIND_NO_DOT_NAMES;
        text = text.Mid(3);
    }
    NameAndRest(text, &p->sPattern, &rest);
    if (p->sPattern.empty()) return false;
    if (!withAttributes) {
        p->sRest = rest;
        return true;
    }
    CString attributes;
    if (!SplitAtComma(rest, &attributes, &p->sRest)) attributes = rest;
    attributes.Trim();
    p->sRest.Trim();
    if (!attributes.empty()) {
        GetSearchAttributes(attributes.c_str(), &p->aSearch);
        p->nFlags |= p->aSearch.fSearchFlags;
    }
    return true;
}

// Walk the matches of a pattern: each(fullName, search) for each one.
template <typename Each> void ForEachMatch(PATTERNARGS &p, Each each) {
    CString full;
    for (int which = FIND_FIRST; FindFiles(which, p.sPattern, p.nFlags, &p.aSearch, &full); which = FIND_NEXT)
        each(full, p.aSearch);
}

}  // namespace

// @FILES[[/H,]pattern[,attributes]]: how many entries match;
// @FILESIZE[pattern[,scale[,a]]]: their total size (a: on disk);
// @EXPAND[pattern[,attributes]]: their names, separated by blanks, quoted
// where needed; @FOLDERS[dir]: how many subdirectories dir has.
int Func_Files(FUNCCALL &call) {
    PATTERNARGS p;
    if (call.nCase == FC_folders) {
        p.sPattern = NameArgument(call.args);
        if (p.sPattern.empty()) p.sPattern = L".";
        MakeDirectoryName(p.sPattern, L"*");
        p.nFlags = FIND_ONLY_DIRS | FIND_NO_DOT_NAMES | FIND_NO_ERRORS | FIND_ALL_ATTRIBUTES;
    } else if (!ReadPatternArguments(call.args, &p, call.nCase != FC_filesize)) {
        return ERROR_INVALID_PARAMETER;
    }
    long long count = 0;
    unsigned long long bytes = 0;
    CString names;
    bool onDisk = call.nCase == FC_filesize && p.sRest.find(L',') != CString::npos;
    if (call.nCase == FC_filesize) p.nFlags |= FIND_NO_DIRS;
    ForEachMatch(p, [&](const CString &full, const FILESEARCH &fs) {
        count++;
        unsigned long long size = fs.nSize;
        if (onDisk) {
            DWORD high = 0, low = GetCompressedFileSizeW(full.c_str(), &high);
            if (low != INVALID_FILE_SIZE || GetLastError() == NO_ERROR) size = (unsigned long long)high << 32 | low;
        }
        bytes += size;
        if (call.nCase == FC_expand) {
            CString name = WithoutVLFN(full);
            AddQuotes_S(name);
            if (!names.empty()) names += L' ';
            names += name;
        }
    });
    int rc = p.aSearch.aSearch.nResult;
    if (rc && rc != ERROR_FILE_NOT_FOUND && rc != ERROR_NO_MORE_FILES && !count) return rc;
    if (call.nCase == FC_expand) {
        call.args = names;
        return 0;
    }
    if (call.nCase == FC_filesize) {
        CString scale, disk;
        if (!SplitAtComma(p.sRest, &scale, &disk)) scale = p.sRest;
        scale.Trim();
        return ScaleByteCount(bytes, scale, call.args);
    }
    return SetNumber(call.args, count);
}

namespace {

// The search of @FINDFIRST and @FINDNEXT, one a thread.
struct FINDSTATE {
    PATTERNARGS aArgs;
    bool fOpen = false;
};

FINDSTATE &ThreadFind() {
    static thread_local FINDSTATE state;
    return state;
}

void CloseFind(FINDSTATE &f) {
    if (f.fOpen) {
        CloseDirSearchHandles(0, &f.aArgs.aSearch);
        CloseDirSearchHandles(1, &f.aArgs.aSearch);
    }
    f.fOpen = false;
}

}  // namespace

// @FINDFIRST[pattern[,attributes]]: the first match, with the path as it
// was given; @FINDNEXT[[pattern[,attributes]]]: the next one (a pattern
// starts over); empty when there is none (left).  @FINDCLOSE[[pattern]] ends the search.
int Func_Find(FUNCCALL &call) {
    FINDSTATE &f = ThreadFind();
    CString given = call.args;
    given.Trim();
    if (call.nCase == FC_findclose) {
        CloseFind(f);
        return SetNumber(call.args, 0);
    }
    int which = FIND_NEXT;
    if (call.nCase == FC_findnext && given.empty() && !f.fOpen) {
        call.args.clear();  // past the end: nothing more
        return 0;
    }
    if (call.nCase == FC_findfirst || !given.empty()) {
        CloseFind(f);
        f.aArgs = PATTERNARGS();
        if (!ReadPatternArguments(given, &f.aArgs)) return ERROR_INVALID_PARAMETER;
        which = FIND_FIRST;
    }
    CString full;
    f.fOpen = FindFiles(which, f.aArgs.sPattern, f.aArgs.nFlags, &f.aArgs.aSearch, &full);
    if (!f.fOpen) {
        call.args.clear();
        return 0;
    }
    call.args = WithoutVLFN(full);
    return 0;
}
