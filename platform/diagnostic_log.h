#pragma once

/// Appends one line to "OviCam-diag.log" beside the module file: the system's tick count in milliseconds in brackets, the
/// message formatted as by printf, and a line end. Never fails visibly: without a log file, or where its path is too long,
/// nothing is written. Threads: any; each line is written whole.
[[gnu::format(printf, 1, 2)]] void diagnostic_log(const char* format, ...) noexcept;

/// Called once by the library's entry point when the module is loaded: from then on the log has its place and the process'
/// unhandled exceptions leave a line in it. `module_handle` as platform::module_file_name takes it.
void start_diagnostics(void* module_handle) noexcept;

/// Called once by the entry point when the module is let go while the process lives on: its exceptions leave no line any more.
void end_diagnostics() noexcept;
