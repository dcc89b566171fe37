#pragma once

namespace qfctl {

/// Opens the standard descriptors that the caller closed, so that a file opened later does not get their numbers and
/// receive the output. Writing to a closed standard output still fails. Throws Failure if a descriptor can't be opened.
void OpenClosedStandardStreams();

}  // namespace qfctl
