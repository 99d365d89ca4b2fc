#pragma once

/// Small text-file helpers for other programs. A null pointer or a file that cannot be opened changes nothing, unless said
/// otherwise. Threads: any, but calls that share a file or a buffer must take turns.

extern "C" {

/// Appends `text`, without a line end, to the file, which is made if it is not there.
void appendMessageToFile(const char* path, const char* text);

/// Gives the file `text` and a line end as its only content.
void writeMessageToFile(const char* path, const char* text);

/// Copies the file's first word, which ends at a blank, tab or line end, and a closing NUL to `out`; "---" when the file
/// cannot be opened or `path` is null. A file without a word leaves `out` as it is. The copy has no bound: the buffer at `out`
/// must hold at least 4 characters and as many as the file's longest word and its NUL need; use it on files of known content
/// only.
void readMessageFromFile(const char* path, char* out);
}
