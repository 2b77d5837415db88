// The screen layer: the console as a grid of cells (row, column,
// attribute).  Rows are relative to the top of the visible window unless a
// name says Abs; columns count from 0.  Every function fails quietly (or
// returns 0/false) when there is no console behind the output.
#pragma once
#include "base/platform.h"

// The screen buffer that the cell layer writes to: the console output
// handle, else standard output when that is a console; null without one.
HANDLE ConsoleOutputHandle();

int QueryIsANSI();

int GetRowOffset();
void GetCursorPosition(int *row, int *col);
void SetCursorPosition(int row, int col);
void GetAbsCursorPosition(int *row, int *col);
void SetAbsCursorPosition(int row, int col);

// "row col" (blanks or commas between): a value with a sign is relative to
// the cursor.  Reports a missing or out-of-window value through BDError
// and returns 2; 0 when both are good.
int GetCursorRange(const wchar_t *text, int *row, int *col);

// The attribute at the cursor, and that with its nibbles swapped (112 when
// the attribute is 0).
void GetAttribute(int *normal, int *inverse);

// lines 0 clears the rectangle; positive scrolls it up, negative down; the
// uncovered rows are blanks in attribute.
void Scroll(int top, int left, int bottom, int right, int lines, int attribute);

// Save and restore a run of one row's cells.
int ReadCellStr(CHAR_INFO *cells, int count, int row, int col);
int WriteCellStr(const CHAR_INFO *cells, int count, int row, int col);

// Raw console write on the console output handle.
int WriteTTY(const wchar_t *text);
void WriteChrAtt(int row, int col, int attribute, wchar_t c);
// Write text in attribute without moving the cursor; the text runs on into
// the next rows of the buffer.  The 2 forms move row and col behind it.
void WriteStrAtt(int row, int col, int attribute, const wchar_t *text);
void WriteStrAtt2(int *row, int *col, int attribute, const wchar_t *text);
// The same, downwards: one character a row.
void WriteVStrAtt(int row, int col, int attribute, const wchar_t *text);
void WriteVStrAtt2(int *row, int *col, int attribute, const wchar_t *text);
// Change the attribute of count cells, leaving the characters.
void SetLineColor(int row, int col, int count, int attribute);

int GetScrRows();       // window height less one
int GetAbsScrRows();    // buffer height
int GetScrCols();       // window width

// Cursor shape from CursorIns / CursorOver; insert tells the editor's mode.
void SetCursorSize();
void SetCursorMode(bool insert);

// Make buffer the active screen buffer, or with null or -1 a new one of
// the same size; returns the buffer, or 0 after reporting a failure.
HANDLE ConsoleScreenBuffer(HANDLE buffer);
// Install the palette of section [ConsoleColors] of iniFile.
int SetConsoleColorPalette(const wchar_t *iniFile);
// Virtual terminal processing on or off, from the option ANSI.
int ConsoleANSI();

// Cells that c takes on the screen under codePage: 2 for the wide
// characters of the code pages 932 to 950, else 1.
int CellWidth(wchar_t c, unsigned codePage);
// The output code page: the console's, else the system's ANSI one.
unsigned OutputCodePage();

// Write text at the cursor in attribute through the cell layer, moving
// the cursor behind it and scrolling the buffer when the text runs past
// its end.  Line ends go through wwriteXP.
void ColorWriteAtCursor(int attribute, const wchar_t *text, int length);
