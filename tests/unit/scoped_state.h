// Scoped guards for the unit tests.  A test (or its fixture) that changes
// the options, the thread's execution state, the process-wide globals, the
// command table or environment variables holds a guard: the guard keeps a
// copy when it is made and puts it back when it goes, pass or fail, so no
// test sees what another left behind and the order of the tests never
// matters.  The language module is loaded once, before any test runs.
#pragma once
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"
#include "core/cmdtable.h"
#include "vars/func_internal.h"

// The options (aIniFile), deep-copied since the block owns its strings.
// The test starts from the defaults unless told to keep the current ones.
class ScopedOptions {
public:
    explicit ScopedOptions(bool toDefaults = true) {
        CopyIniBlock(&saved_, &aIniFile);
        if (toDefaults) IniClear(&aIniFile);
    }
    ~ScopedOptions() {
        CopyIniBlock(&aIniFile, &saved_);
        FreeIniStrings(&saved_);
    }
    ScopedOptions(const ScopedOptions &) = delete;
    ScopedOptions &operator=(const ScopedOptions &) = delete;

private:
    INIFILE saved_{};
};

// A record copied whole, and put back whole.
template <typename T> class ScopedRecord {
public:
    explicit ScopedRecord(T &live) : live_(live), saved_(live) {}
    ~ScopedRecord() { live_ = saved_; }
    ScopedRecord(const ScopedRecord &) = delete;
    ScopedRecord &operator=(const ScopedRecord &) = delete;

private:
    T &live_;
    T saved_;
};

// The thread's execution state: batch frames, results, skip and break state.
class ScopedThreadState : public ScopedRecord<TLS_VARIABLES> {
public:
    ScopedThreadState() : ScopedRecord(*GetTLS()) {}
};

// The process-wide state of aGlobals.
class ScopedGlobals : public ScopedRecord<GLOBAL_VARIABLES> {
public:
    ScopedGlobals() : ScopedRecord(aGlobals) {}
};

// The command table: every row's handler, flags and enable state.
class ScopedCommandTable {
public:
    ScopedCommandTable() : saved_(aInternalCommands, aInternalCommands + QueryNumberOfCommands()) {}
    ~ScopedCommandTable() {
        for (size_t i = 0; i < saved_.size(); i++) aInternalCommands[i] = saved_[i];
    }
    ScopedCommandTable(const ScopedCommandTable &) = delete;
    ScopedCommandTable &operator=(const ScopedCommandTable &) = delete;
    // Point the row of a command at another handler while the guard lives.
    void Replace(const wchar_t *name, CommandHandler handler) {
        BUILTIN *row = nullptr;
        FindInternalCommand(name, true, &row);
        ASSERT_NE(row, nullptr) << "no command row for the replacement";
        row->pfnHandler = handler;
    }

private:
    std::vector<BUILTIN> saved_;
};

// Environment variables of this process, by name: each gets its value back,
// or is removed again when it had none.
class ScopedEnvironment {
public:
    ScopedEnvironment(std::initializer_list<const wchar_t *> names) {
        for (const wchar_t *name : names) {
            Saved s{name, CString(), false};
            DWORD n = GetEnvironmentVariableW(name, nullptr, 0);
            if (n) {
                s.value.resize(n);
                s.value.resize(GetEnvironmentVariableW(name, s.value.data(), n));
                s.had = true;
            }
            saved_.push_back(s);
        }
    }
    ~ScopedEnvironment() {
        for (const Saved &s : saved_) SetEnvironmentVariableW(s.name.c_str(), s.had ? s.value.c_str() : nullptr);
    }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    struct Saved {
        CString name, value;
        bool had;
    };
    std::vector<Saved> saved_;
};

// A standard handle pointed elsewhere while this lives.
class ScopedStdHandle {
public:
    ScopedStdHandle(DWORD which, HANDLE handle) : which_(which), saved_(GetStdHandle(which)) {
        SetStdHandle(which, handle);
    }
    ~ScopedStdHandle() { Restore(); }
    ScopedStdHandle(const ScopedStdHandle &) = delete;
    ScopedStdHandle &operator=(const ScopedStdHandle &) = delete;
    void Restore() {
        if (saved_ != INVALID_HANDLE_VALUE) SetStdHandle(which_, saved_);
        saved_ = INVALID_HANDLE_VALUE;
    }

private:
    DWORD which_;
    HANDLE saved_;
};

// Standard output or error goes to a temporary file while this lives;
// Text() reads what was written so far (as UTF-8).
class ScopedCapture {
public:
    explicit ScopedCapture(DWORD which = STD_ERROR_HANDLE) : file_(NewFile()), redirect_(which, file_) {}
    ~ScopedCapture() {
        redirect_.Restore();
        CloseHandle(file_);
    }
    ScopedCapture(const ScopedCapture &) = delete;
    ScopedCapture &operator=(const ScopedCapture &) = delete;
    CString Text() const {
        LARGE_INTEGER size{}, zero{};
        GetFileSizeEx(file_, &size);
        SetFilePointerEx(file_, zero, nullptr, FILE_BEGIN);
        std::string bytes((size_t)size.QuadPart, '\0');
        DWORD got = 0;
        if (!bytes.empty()) ReadFile(file_, bytes.data(), (DWORD)bytes.size(), &got, nullptr);
        SetFilePointerEx(file_, zero, nullptr, FILE_END);
        return FromCodePage(bytes.data(), (int)got, CP_UTF8);
    }

private:
    static HANDLE NewFile() {
        wchar_t dir[MAX_PATH + 1], name[MAX_PATH + 1];
        GetTempPathW(MAX_PATH + 1, dir);
        GetTempFileNameW(dir, L"bdu", 0, name);
        return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    }
    HANDLE file_;
    ScopedStdHandle redirect_;
};

// What a piece of code writes to one standard handle.
template <typename F> CString Captured(F body, DWORD which = STD_ERROR_HANDLE) {
    ScopedCapture capture(which);
    body();
    return capture.Text();
}

// The language module beside the test program, loaded for the whole run so
// that message texts never depend on which test happened to load it.
class LanguageModule : public ::testing::Environment {
public:
    void SetUp() override {
        if (aGlobals.hLanguage) return;
        CString path(MAX_PATH + 1, L'\0');
        path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH + 1));
        path = path.Left(path.find_last_of(L'\\') + 1) + L"English.dll";
        aGlobals.hLanguage =
            LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    }
};
inline ::testing::Environment *const kLanguageModule = ::testing::AddGlobalTestEnvironment(new LanguageModule);
