// The beeps: the tone of BEEP, and honk, the refusal beep of the line
// editor and the key questions.
#include "base/breaks.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"

void SysBeep(unsigned frequency, unsigned ticks) {
    const DWORD length = ticks * 55;
    if (frequency >= 37) {
        Beep(frequency, length);
        SleepEx(0, TRUE);  // a Ctrl+C pressed during the tone
        CheckBreak();
        return;
    }
    // A pause, in alertable steps: the break procedure ends the sleep at
    // once, and the next step sees the break.
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        CheckBreak();
        ULONGLONG spent = GetTickCount64() - start;
        if (spent >= length) break;
        SleepEx(length - spent < 50 ? (DWORD)(length - spent) : 50, TRUE);
    }
}

// Keys typed ahead are dropped, so that a burst of refused keys gives one
// beep and not a queue of them.
void honk() {
    tty_yield(0);
    if (QueryIsConsole(StdIn())) EatKeystrokes();
    if (aIniFile.BeepLength) SysBeep(aIniFile.BeepFreq, aIniFile.BeepLength);
    else MessageBeep(aIniFile.BeepFreq);
}
