#pragma once

namespace qfctl {

/// Opens the standard descriptors that the caller closed, so that no file that is opened later gets their numbers and
/// with them the output. A write to a standard output that was closed still fails. Throws Failure when that is not possible.
void OpenClosedStandardStreams();

}  // namespace qfctl
