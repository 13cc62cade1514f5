#pragma once

/// Requests from outside to end the run.
namespace tovik::interrupt {

/// From now on the first SIGINT or SIGTERM is a request, and a second one of either, at least a tenth of a
/// second later, ends the process as it would have without this. Closed pipes and files that are too long are
/// failures of the writing and no signals.
void watch();

/// The signal that has come, 0 for none. For every thread, at any time.
int requested() noexcept;

/// Makes a request without a signal, or takes it back with 0.
void request(int signal) noexcept;

}  // namespace tovik::interrupt
