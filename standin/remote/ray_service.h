#pragma once

#include <memory>

#include "standin/session/introspection.h"
#include "standin/session/session.h"

namespace standin {

/// The same as open_session, in another process: the ray service program runs the module and passes its rays on. A module
/// for Windows runs under Wine. The program is $OVICAM_RAY_SERVICE, or ovicam-ray-service(.exe) beside this program or
/// installed with it, or beside the module file.
/// A failure and a service that ends early throw std::runtime_error. POSIX only; on Windows it throws. Threads: as Session
/// says; the service ends with the thread that opened the session, so that none outlives a program that is killed.
std::unique_ptr<Session> open_remote_session(const SessionOptions& options);

/// open_remote_session for a Windows module on another system, open_session otherwise.
std::unique_ptr<Session> open_session_for(const SessionOptions& options);

/// The same for describe_module.
ModuleDescription describe_remote_module(const std::filesystem::path& module_file);
ModuleDescription describe_module_for(const std::filesystem::path& module_file);

/// How many threads that ask a session for rays keep this machine busy: one per processor, and twice as many where another
/// process answers, because then threads wait.
unsigned threads_that_ask(const std::filesystem::path& module_file);

/// Ends the processes of all sessions at once, for a program that is itself about to end. Nothing on Windows. Threads: any.
void end_ray_services();

/// Whether the file is a Windows binary; false when it cannot be read.
bool is_windows_binary(const std::filesystem::path& file);

}  // namespace standin
