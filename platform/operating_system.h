#pragma once

/// What the module asks of the operating system. Nothing else in the module calls it directly.

#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace platform {

/// Holds a path and its closing NUL.
using PathBuffer = std::array<char, 260>;

extern const char directory_separator;

/// How a line of a text file ends on this system.
extern const std::string_view line_end;

/// Writes the file name of the loaded module and returns its length; 0 on failure, and when the name does not fit.
/// `handle`: the module's handle on Windows, any address inside the module elsewhere.
std::size_t module_file_name(void* handle, PathBuffer& name) noexcept;

/// Milliseconds since the system started; starts again at 0 after 2^32.
unsigned long tick_count_milliseconds() noexcept;

/// Writes the user's temporary directory, a separator at its end, and returns its length; 0 on failure. A directory that
/// does not fit leaves the buffer as it is and returns the length of the directory, which is then more than 259.
std::size_t temporary_directory(PathBuffer& directory) noexcept;

/// Appends `text` byte for byte in one write, beside any other program that has the file open with ordinary sharing. Allocates
/// nothing and tries once: it may be called while the process is dying, and under the loader's lock. A file that cannot be
/// opened stays as it is, and so does what is not this user's own ordinary file under one name, where the system tells: others
/// may have left a link there. Threads: any; their texts follow one another whole.
void append_to_file(const char* path, std::string_view text) noexcept;

/// Opens an ordinary text file for reading, in a way that lets others replace it meanwhile; null when it is not there, is no
/// ordinary file or a link, or stays closed to readers for longer than some 20 milliseconds. The caller closes it. Threads:
/// any.
std::FILE* open_for_reading(const char* path) noexcept;

/// Gives the file `path` the content `text` in one step: a reader sees the old content or the new one, never a part.
/// The content grows in `temporary_path`, in the same directory; at any moment one caller of all processes owns that file,
/// which must be an ordinary one, this user's own and under one name. Line feeds become the system's line ends. Returns whether
/// the content was replaced; if not, `path` is as it was, and the temporary file is gone unless another caller owns it. On
/// Windows it waits some 20 milliseconds for programs that have the file open. Threads: any.
bool replace_file_content(const char* path, const char* temporary_path, std::string_view text) noexcept;

/// `code`: exception code on Windows, signal number elsewhere. `address`: of the fault, null when not known.
using CrashReport = void (*)(unsigned long code, const void* address) noexcept;

/// From now on calls `report` when the process is about to die of an exception that nobody handles.
void install_crash_filter(CrashReport report) noexcept;

/// Puts back what was there before, unless somebody else has taken the filter's place since: nothing may point into a module
/// that is no longer loaded.
void remove_crash_filter() noexcept;

}  // namespace platform
