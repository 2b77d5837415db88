// Instance-level functions shared by the core.
#pragma once
#include "core/bdx.h"

constexpr unsigned BDX_VERSION_MAJOR = 1;
constexpr unsigned BDX_VERSION_MINOR = 0;
constexpr int BDX_BUILD = 1;

void SetSavedTitle(const wchar_t *title);
int QueryHostInstances();
int QueryShellInstances();
// The environment block as it was when the shell started (START /I).
const wchar_t *QueryStartupEnvironment();
