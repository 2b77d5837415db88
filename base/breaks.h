// Interrupts travel as thrown integers: BreakOut restores the console and
// throws one of these codes, which unwinds through every Command_S to the
// batch loop (RunBatchLines runs the frame's ON handler for it) or to the
// front end's loop.  The codes are the only thrown values besides the
// evaluator's own, which never leave it.
#pragma once
#include "base/platform.h"

// Plain ints, not enumerators: a thrown enumerator would have its enum's
// type, which no "catch (int)" takes.
constexpr int BREAK_UNKNOWN_EXCEPTION = 2;    // a C++ exception came out of a command
constexpr int BREAK_CTRL_C = 3;               // Ctrl+C or Ctrl+Break, or Esc at a page pause
constexpr int BREAK_FORCED_ABORT = 0x100;     // end every batch file without asking
constexpr int BREAK_ON_ERROR = 0x800;         // an error with ON ERROR set
constexpr int BREAK_ON_ERRORMSG = 0x1000;     // an error message with ON ERRORMSG set
constexpr int BREAK_ON_ERRORLEVEL = 0x2000;   // ON ERRORLEVEL's test held after a command
constexpr int BREAK_ON_LBUTTON = 0x10000;     // the mouse handlers of ON
constexpr int BREAK_ON_MBUTTON = 0x20000;
constexpr int BREAK_ON_RBUTTON = 0x40000;
constexpr int BREAK_ON_DBLCLICK = 0x80000;

// Signals held: a break stays pending (and is delivered at the next
// polling point after EnableSignals) while code that must not be torn
// runs.
BD_EXPORT void HoldSignals();
BD_EXPORT void EnableSignals();
BD_EXPORT void ResetBreakHandling();
// Restore the cursor and the console modes, end a running child and throw
// value.
[[noreturn]] void BreakOut(int value);
// Deliver an interrupt on this thread (event 0: found by polling; nonzero:
// a Ctrl+C read as a key).  Throws BREAK_CTRL_C unless signals are held or
// the line editor takes the Ctrl+C as "copy".
void BreakHandler(int event);
// The polling point: deliver a pending break.
void CheckBreak();
