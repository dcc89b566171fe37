/// Verifies after a patch that the live files and apps match it, and reports the result as JSON text.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// The directory of the patch files. A patch file is at this path followed by the path of its live file.
inline constexpr char PATCH_OVERLAY_PATH[] = "/patch_qv/overlay";
/// The text that the bundle tool's dump of a patched app contains.
inline constexpr char PATCH_FLAG[] = "teklo.app.quickfix";

enum class Verdict : int32_t {
    PASSED = 0,
    FAILED = 1,
    /// A check could not compare two values. With `Inspection::SHELL`, and for apps: a command could not be started or
    /// both values are empty, and no other check failed. With `Inspection::DIRECT`: a value could not be read, both
    /// files are missing, or neither is a regular file, whatever the other checks found.
    INCONCLUSIVE = 2,
};

/// How a native run reads the values of a file.
enum class Inspection : int32_t {
    SHELL = 0,   ///< the digest through the library, mode and label through `ls`
    DIRECT = 1,  ///< all three without a process, from one descriptor of a regular file
};

class InspectedFile;
struct FileValue;

/// A check of an item that found a difference.
///
///     files   "SHA256", "RWX", "SeLinux"           the values of the two files; "" if there is none
///     apps    "Installed", "PatchFlag", "Version"  the values of the app and of the patch
struct Difference {
    std::string check;
    std::string live;
    std::string patch;
    bool isInconclusive = false;  ///< the check could not compare the values
};

/// The result of one item.
struct ItemResult {
    std::string item;  ///< the live path, or the bundle's name
    Verdict verdict = Verdict::PASSED;
    std::vector<Difference> differences;  ///< in the order of the checks
};

/// A run checks many items and returns one fragment: a member of a JSON object without the surrounding braces.
///
///     "Native": {"description":  "...","detail": {"/system/bin/a": "true",
///     "/system/bin/b": "false,source:RWX=-rwxr-xr-x.patch_qv:RWX=-rw-r--r--."},
///     "test_native_result": "false","total": "2","success": "1","failed": "1"}
///
/// The fragment has no line breaks; counts are strings. Keys and values are not escaped: a file name with a quote makes
/// the fragment invalid JSON. A run without items returns `"Native": "null"` or `"Qen": "null"`.
///
/// With `Inspection::SHELL`, paths reach a shell unquoted. The overlay must not contain names that a shell would
/// interpret or split: a name such as "a;b" would run b.
///
/// Records go to the platform log and the file log. Functions throw only std::bad_alloc and the exceptions of the
/// listener.
///
/// A program that was built with version 0.1.0 must be rebuilt: because of their ABI tag, it does not find
/// `CheckNativePatch` and `CheckAppPatchInit`.
///
/// Threads: use an object from one thread at a time. The calling thread does the work, and waits for the end of each
/// shell command.
class [[gnu::visibility("default")]] TestManager {
public:
    /// Compares every regular file below /patch_qv/overlay with the live file at the same path without that prefix:
    /// digest, mode as `ls -l` shows it, label as `ls -Z` shows it. Skips links and other special files. Returns the
    /// "Native" fragment, or `"Native": "null"` if the overlay is missing, can't be read or has no regular files. Logs
    /// "Check Native Patch Begin" at info level, and the records of the steps below.
    [[gnu::abi_tag("v0_2")]] std::string CheckNativePatch();

    /// Starts an app run and discards the results of an earlier run. Logs "Check Qen Patch Begin" at info level.
    [[gnu::abi_tag("v0_2")]] void CheckAppPatchInit();

    /// Checks one app, adds its entry to the run and counts it as passed or failed. Checks that the app is installed,
    /// that its dump contains `PATCH_FLAG`, and that its version code is at least `versionCode`. Always makes all three
    /// checks. Call this function between `CheckAppPatchInit` and `CheckAppPatchEnd`; the order is not checked.
    ///
    ///     all three pass   "com.example.app": "true",
    ///     not installed    "com.example.app": "false,miss,teklo.app.quickfix not exist,RunTimes Version=0,PatchPakage
    ///                      Version=1000001",
    ///     no flag          "com.example.app": "false,teklo.app.quickfix not exist",
    ///     too old          "com.example.app": "false,RunTimes Version=1000000,PatchPakage Version=1000001",
    ///
    /// Each check runs a shell command with the platform's tool `bm` and evaluates the first 512 bytes of its output.
    /// The commands contain `bundleName` unescaped, so it must not contain characters that a shell interprets.
    void CheckAppPatch(const std::string& bundleName, const unsigned int& versionCode);

    /// Returns true if `grep -w` finds the bundle exactly once in the output of `bm dump -a`. `grep` also finds the
    /// name within a longer name, next to "." or "-": if only "com.a.b" or only "org.com.a" is installed, "com.a"
    /// counts as installed. If `grep` finds the name more than once, for example because "com.a" and
    /// "com.a.b" are installed, the bundle counts as missing. `grep` interprets the name as a pattern: a match of
    /// another text, such as "com-a", also makes the bundle count as missing. Returns false if no shell can be started,
    /// and logs "Failed to run the command" at error level.
    bool AppIsExist(const std::string& bundleName);

    /// Returns true if the bundle's dump contains the flag. If the command prints other text, logs
    /// "cmdString : %{public}s" at error level. If no shell can be started, fails like `AppIsExist`.
    bool PatchFlagIsExist(const std::string& bundleName);

    /// Sets `runtimeVersion` to the last version code in the bundle's dump and returns whether it is at least
    /// `versionCode`. If the dump contains no version code, returns false and leaves `runtimeVersion` unchanged. If no
    /// shell can be started, fails like `AppIsExist`.
    bool CheckAppVersion(const std::string& bundleName, const unsigned int& versionCode, unsigned int& runtimeVersion);

    /// Ends the app run and returns the "Qen" fragment, or `"Qen": "null"` if no app was checked.
    std::string CheckAppPatchEnd();

    /// Verifies each regular file below a directory, in directory order. If a directory can't be opened, skips it and
    /// logs "open patch folder faild : %{public}s" at error level. If reading a directory fails, verifies the entries
    /// read so far and logs "read patch folder failed : %{public}s" at error level.
    void TraverseFile(const std::string& path);

    /// Verifies one patch file, adds its entry to the run and counts it as passed or failed.
    void VerifyPatch(const std::string& patchPath);

    /// Returns the live path of a patch path. Removes the first 17 bytes without comparing them with the overlay's
    /// path.
    ///
    ///     "/patch_qv/overlay/system/lib64/libx.so"  "/system/lib64/libx.so"
    ///     "/patch_qv/overlay"                       ""
    std::string GetViewFilePath(const std::string& patchPath);

    /// Makes the three comparisons below in this order. A difference doesn't end the sequence. A comparison that finds
    /// a difference marks the item and the run as failed and adds both values to the item's entry. The values of a
    /// missing file are empty, so a missing live file differs from its patch file. If both files are missing, all
    /// three comparisons are inconclusive, and with `DIRECT` the comparison of digests also counts as a difference. A
    /// difference of the digests starts a new entry for the item; differences of mode and label extend the entry.
    void DoVerifyFile(const std::string& patchPath, const std::string& viewPath);
    void VerifyPatchSHA256(const std::string& patchPath, const std::string& viewPath);
    void VerifyPatchProp(const std::string& patchPath, const std::string& viewPath);
    void VerifyPatchSeLinux(const std::string& patchPath, const std::string& viewPath);

    /// Returns the mode of a file as `ls -l` prints it, such as "-rwxr-xr-x": at most 10 characters. Returns "" if
    /// there is no such file. For a directory or an empty path, `SHELL` returns the start of a listing, such as
    /// "total 36". If no shell can be started, returns "" and logs "Failed to run the command" at error level. Logs
    /// "filePath: %{public}s, Prop: %{public}s" at debug level.
    std::string GetFileProp(const std::string& path);

    /// Returns what `ls -Z` prints before the first blank, which is "?" on a system without labels. If there is no
    /// blank, returns the whole line with its line feed. Fails like `GetFileProp`. Logs "filePath: %{public}s, Selinux:
    /// %{public}s" at debug level.
    std::string GetFileSeLinux(const std::string& path);

    /// Adds the result and the counts of the run to its fragment.
    void JsonTail(const std::string& testName);

    /// Empties the internal string stream and clears its state.
    void ClearSstream();

    /// Replaces a ',' at the end of each text with '.'.
    void SymbolConversion(std::string & source, std::string & patch);

    /// Calls `listener` after each item, on the thread of the run. An empty function removes the listener. An exception
    /// of the listener ends the run and propagates to the caller. In the report, an inconclusive item counts as passed
    /// if it has no differences, and as failed otherwise.
    void SetItemListener(std::function<void(const ItemResult& result)> listener);

    /// Selects how the following files are read; the default is `SHELL`. For readable regular files, both settings give
    /// the same report and the same records. `DIRECT` starts no process, and no file name reaches a shell.
    ///
    /// `DIRECT` opens each file once, and only if it is a regular file, so the run never waits for a pipe or a device.
    /// A live link, directory, pipe or device has an empty digest and its own mode; both differ from the patch file's.
    /// If a value can't be read, the item is inconclusive, and the report counts it as failed. The value is then "", or
    /// "?" for a label of a file whose mode can be read. A file without read permission has an inconclusive digest; its
    /// mode and label are compared.
    ///
    /// The setting does not affect app runs.
    void SetInspection(Inspection inspection);

    /// Returns the number of inconclusive comparisons of the current or last native run. If it is not 0, the run did
    /// not compare all values. App runs do not change it.
    ///
    ///     `SHELL`   a command could not be started, or both values are empty: there is no `ls`, or both files are
    ///               missing or unreadable
    ///     `DIRECT`  a value could not be read, both files are missing, or neither is a regular file
    uint64_t GetInconclusiveCount() const;

    /// The former name of `GetInconclusiveCount`, from version 0.1.0.
    uint64_t GetUnprovenCount() const;

private:
    [[gnu::visibility("hidden")]] void StartRun(const char* header);
    [[gnu::visibility("hidden")]] std::string EndRun(const std::string& testName, const char* emptyFragment);
    [[gnu::visibility("hidden")]] void StartItem(const std::string& item);
    [[gnu::visibility("hidden")]] void StartCheck();
    [[gnu::visibility("hidden")]] void MarkFailed(const std::string& item);
    [[gnu::visibility("hidden")]] void AddDifference(const char* check, const std::string& live,
                                                     const std::string& patch);
    [[gnu::visibility("hidden")]] void Compare(const std::string& item, const char* check, const std::string& source,
                                               const std::string& patch, char terminator);
    [[gnu::visibility("hidden")]] void FinishItem(bool passed);
    [[gnu::visibility("hidden")]] std::string ReadDirectly(const std::string& path,
                                                           FileValue (InspectedFile::*read)() const);

    std::string result_;
    std::string testResult_;
    std::string jsonStr_;
    std::string detailStr_;
    std::string sourceStr_;
    std::string patchStr_;
    std::stringstream sstream_;
    uint64_t successCount_ = 0;
    uint64_t failedCount_ = 0;
    uint64_t inconclusiveCount_ = 0;
    ItemResult item_;
    bool isInconclusive_ = false;  // a check of the item was inconclusive
    bool commandFailed_ = false;   // reset by each check
    bool readFailed_ = false;      // reset by each check
    Inspection inspection_ = Inspection::SHELL;
    std::array<std::shared_ptr<const InspectedFile>, 2> inspected_;  // the files of the current item
    std::function<void(const ItemResult& result)> itemListener_;
};

}  // namespace TEKLO::QuickFixEngine
