#pragma once

namespace tovik::tests {

/// Puts every process-wide setting that a command file or the command line can change back to what a new
/// process starts with. A setting that is added to the program is added here.
void reset_settings();

}  // namespace tovik::tests
