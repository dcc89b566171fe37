#pragma once

#include <string>
#include <vector>

namespace qfctl {

/// The live paths of the regular files below the overlay. Throws Failure, with a message for each reason, when the
/// overlay can't be verified whole: names that a shell would interpret or split or that the report can't carry, and
/// what can't be read.
std::vector<std::string> ListOverlayFiles(const std::string& overlay);

/// Throws Failure when a file can't be compared; an absent one can.
void CheckReadable(const std::string& path);

/// True when every shell takes the name as it stands and JSON can carry it: ASCII letters, digits and
/// "_-.+,:@%=", and UTF-8 beyond ASCII except control characters.
bool IsSafeName(const std::string& name);

}  // namespace qfctl
