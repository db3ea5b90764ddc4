#pragma once

namespace mos {

/// What has to be settled with the system before anything else: a reader that goes away (a pipe
/// into another program, a server that hangs up) is an error of that one write and does not end
/// the process.
void setUpProcess() noexcept;

} // namespace mos
