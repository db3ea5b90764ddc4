#pragma once

namespace mos {

/// What has to be settled with the system before anything else: a reader that goes away (a pipe
/// into another program, a server that hangs up) and a limit for the size of files are errors of
/// that one write and do not end the process, directories can be walked however deep they are,
/// and nothing that is opened takes the place of a standard stream that is closed.
void setUpProcess() noexcept;

} // namespace mos
