/// A list of error codes and its text form.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// The engine defines the enumerators; here they are 32-bit numbers.
enum class ErrorCode : int32_t;

/// Collects error codes in the order in which they came. Its text form, the one of the status file, is each code in
/// decimal followed by a comma, the last one too:
///
///     {}        ""
///     {101, 7}  "101,7,"
///
/// Writes no record. Threads: one at a time may use an object.
class [[gnu::visibility("default")]] ErrorCodeWrapper {
public:
    /// Appends `code` unless the list holds it already.
    void AddErrorCode(ErrorCode code);

    /// Appends every number of a text form, also one that the list holds already. Blanks and a sign may stand in front of
    /// a number; what follows it up to the comma is passed over.
    ///
    /// Throws std::invalid_argument for a piece that doesn't begin with a number and std::out_of_range for a number of
    /// more than 32 bits; the numbers in front of it are in the list then. Texts from files need a handler for both.
    ///
    ///     ",,1,2,"  {1, 2}
    ///     "5,5"     {5, 5}
    ///     " 7,x"    {7}, then std::invalid_argument
    void ConvertErrCode(std::string text);

    /// The text form. `ConvertErrCode` of it gives the same list.
    std::string GetErrorCode();

    void ClearErrorCode();

private:
    std::vector<ErrorCode> errorCodes_;
};

}  // namespace TEKLO::QuickFixEngine
