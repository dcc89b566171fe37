/// A list of error codes and its text form.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// A 32-bit number. The engine defines the enumerators.
enum class ErrorCode : int32_t;

/// A list of error codes. The status file holds its text form, each code in decimal followed by a comma:
///
///     {}        ""
///     {101, 7}  "101,7,"
///
/// No function logs anything. Threads: one thread at a time may use an object.
class [[gnu::visibility("default")]] ErrorCodeWrapper {
public:
    /// Appends `code` unless the list already holds it.
    void AddErrorCode(ErrorCode code);

    /// Appends the numbers of a text form to the list, duplicates included. Ignores empty pieces, white space and a
    /// "+" before a number, and anything between a number and the next comma.
    ///
    /// Throws std::invalid_argument for a piece that doesn't start with a number, std::out_of_range for a number that
    /// doesn't fit in 32 bits. The numbers before that piece stay in the list. Catch both when the text comes from a
    /// file.
    ///
    ///     ",,1,2,"  {1, 2}
    ///     "5,5"     {5, 5}
    ///     " 7,x"    {7}, then std::invalid_argument
    void ConvertErrCode(std::string text);

    /// Returns the text form, which is empty for an empty list.
    std::string GetErrorCode();

    void ClearErrorCode();

private:
    std::vector<ErrorCode> errorCodes_;
};

}  // namespace TEKLO::QuickFixEngine
