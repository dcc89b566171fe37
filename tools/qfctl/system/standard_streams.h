#pragma once

namespace qfctl {

/// Opens the standard descriptors that the caller closed, so that no file that is opened later takes their numbers and
/// gets what is printed. A write to a standard output that was closed still fails. Throws Failure when that is not possible.
void OpenClosedStandardStreams();

}  // namespace qfctl
