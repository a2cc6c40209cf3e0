// LastError: the one process-wide text through which document operations
// and file readers say why they refused. While a file is read, a reading
// context makes every report carry its position.
#pragma once

// Room for one text, its terminator included: longer ones are cut.
constexpr int kErrorTextBytes = 256;

// Replaces the text; null or "" clears it. With a reading context the text
// becomes "%s (file: %s, line: %d)", or "%s (line: %d)" when only a line is
// known. The result is cut to 255 characters.
void lastErrorReport(const char* text);
// printf-style convenience; formats into a bounded buffer, then reports.
void lastErrorReportf(const char* format, ...)
    __attribute__((format(printf, 1, 2)));
// The current text, or null when there is none.
const char* lastErrorText();
void lastErrorClear();

// Reading context: `file` may be null (then only the line is added);
// a line of 0 or less means no context.
void lastErrorSetContext(const char* file, int line);
// Moves the reading context to another line of the same file: what a
// reader calls per line, so it must stay cheap.
void lastErrorSetLine(int line);
void lastErrorClearContext();
