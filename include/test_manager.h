/// Proves, after a patch was applied, that what was patched is really in place, and reports it as JSON text.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// The directory of the patch files, which lie in it at the paths of their live files.
inline constexpr char PATCH_OVERLAY_PATH[] = "/patch_qv/overlay";

enum class Verdict : int32_t {
    PASSED = 0,
    FAILED = 1,
    /// A check could not compare. `Inspection::SHELL`: no command could be run, or both values are empty, and no other
    /// check failed. `Inspection::DIRECT`: a value could not be read, whatever the other checks found.
    INCONCLUSIVE = 2,
};

/// How a native run reads the values of a file.
enum class Inspection : int32_t {
    SHELL = 0,   ///< the digest through the library, mode and label through `ls`
    DIRECT = 1,  ///< all three from one descriptor, without a process
};

class InspectedFile;
struct FileValue;

/// One check of an item whose values differ.
///
///     files   "SHA256", "RWX", "SeLinux"          the values of the two files, empty where there is none
///     apps    "Installed", "PatchFlag", "Version" what the app has and what the patch asks for
struct Difference {
    std::string check;
    std::string live;
    std::string patch;
    bool isInconclusive = false;  ///< a value could not be read
};

/// What one run found out about one item.
struct ItemResult {
    std::string item;  ///< the live path, or the bundle's name
    Verdict verdict = Verdict::PASSED;
    std::vector<Difference> differences;  ///< in the order of the checks
};

/// One run checks many items and returns one fragment, a member of a JSON object without the surrounding braces:
///
///     "Native": {"description":  "...","detail": {"/system/bin/a": "true",
///     "/system/bin/b": "false,source:RWX=-rwxr-xr-x.patch_qv:RWX=-rw-r--r--."},
///     "test_native_result": "false","total": "2","success": "1","failed": "1"}
///
/// but without the line breaks.
///
/// Keys and values stand in it as they are, nothing is escaped: a file name with a quote makes text that is
/// no JSON. A run that checked nothing returns `"Native": "null"`. The counts are texts.
///
/// Paths reach a shell as they stand. Whoever fills the overlay must keep names out of it that a shell would interpret
/// or split; a name such as "a;b" would run b.
///
/// Records go to the platform log and the file log. Nothing throws but the standard library when memory runs out, and
/// the listener.
///
/// Threads: one at a time may use an object; the calling thread does the work. The commands run one after the other, one
/// for each value, and the thread waits for the end of each.
class [[gnu::visibility("default")]] TestManager {
public:
    /// Checks every regular file below /patch_qv/overlay against the live file at the same path without that
    /// prefix: digest, mode as `ls -l` shows it, label as `ls -Z` shows it. Returns the "Native" fragment; a
    /// missing or unreadable overlay gives `"Native": "null"`. Links and other special files are passed over.
    /// Records "Check Native Patch Begin" at info level, and those of the steps below.
    std::string CheckNativePatch();

    /// Starts an app run: forgets what an earlier run left. Records "Check Qen Patch Begin" at info level.
    void CheckAppPatchInit();

    /// Checks one app and adds its entry and its count to the run: that it is installed, that its dump carries the patch
    /// flag "teklo.app.quickfix", and that its version code is at least `versionCode`; all three, even after a
    /// failure. Call it between `CheckAppPatchInit` and `CheckAppPatchEnd`; nothing guards against another order.
    ///
    ///     all three hold   "com.example.app": "true",
    ///     not installed    "com.example.app": "false,miss,teklo.app.quickfix not exist,RunTimes Version=0,PatchPakage
    ///                      Version=1000001",
    ///     no flag          "com.example.app": "false,teklo.app.quickfix not exist",
    ///     too old          "com.example.app": "false,RunTimes Version=1000000,PatchPakage Version=1000001",
    ///
    /// The commands ask the platform's tool `bm` and look at the first 512 bytes of its answer. `bundleName` stands in
    /// them as it is, and `grep` takes it for a pattern: "." matches any character.
    void CheckAppPatch(const std::string& bundleName, const unsigned int& versionCode);

    /// True when `bm dump -a` names the bundle once as a word of its own. `grep -w` also finds it at the beginning of a
    /// longer name, behind which a "." or "-" follows: alone, "com.a.b" makes "com.a" present; beside the real one, or
    /// when the bundle is listed twice, it makes it absent. False also when no
    /// shell is to be had, "Failed to run the command" at error level.
    bool AppIsExist(const std::string& bundleName);

    /// True when the bundle's dump contains the flag. False when it prints nothing, when it prints something else
    /// ("cmdString : %{public}s" at error level), and without a shell as above.
    bool PatchFlagIsExist(const std::string& bundleName);

    /// Puts the last version code of the bundle's dump into `runtimeVersion` and tells whether it is at least
    /// `versionCode`. False, with `runtimeVersion` untouched, when there is none, and without a shell as above.
    bool CheckAppVersion(const std::string& bundleName, const unsigned int& versionCode, unsigned int& runtimeVersion);

    /// Ends the app run and returns the "Qen" fragment; without a checked app that is `"Qen": "null"`.
    std::string CheckAppPatchEnd();

    /// Walks a directory in its own order and verifies each regular file below it. A directory that can't be opened is
    /// left out, with no entry and no count, and recorded at error level as "open patch folder faild : %{public}s". When
    /// reading one fails, the entries read until then are verified, and "read patch folder failed : %{public}s" is
    /// recorded.
    void TraverseFile(const std::string& path);

    /// Verifies one patch file and adds its entry and its count to the run.
    void VerifyPatch(const std::string& patchPath);

    /// The live path of a patch path: its first 17 bytes, the length of "/patch_qv/overlay", are left out unseen.
    ///
    ///     "/patch_qv/overlay/system/lib64/libx.so"  "/system/lib64/libx.so"
    ///     "/patch_qv/overlay"                       ""
    std::string GetViewFilePath(const std::string& patchPath);

    /// Makes the three comparisons below in their order; all three, even after a failure. Each one that finds
    /// a difference marks the item and the run as failed and adds the two values to the item's entry. A value
    /// that can't be had is empty, so a missing live file differs and two missing ones agree; see
    /// `GetInconclusiveCount`. The comparison of digests begins the item's entry anew, the other two continue it.
    void DoVerifyFile(const std::string& patchPath, const std::string& viewPath);
    void VerifyPatchSHA256(const std::string& patchPath, const std::string& viewPath);
    void VerifyPatchProp(const std::string& patchPath, const std::string& viewPath);
    void VerifyPatchSeLinux(const std::string& patchPath, const std::string& viewPath);

    /// The first 10 characters of `ls -l`, such as "-rwxr-xr-x"; empty when there is no such file, or no shell to be
    /// had ("Failed to run the command" at error level). Records "filePath: %{public}s, Prop: %{public}s" at debug
    /// level.
    std::string GetFileProp(const std::string& path);

    /// What `ls -Z` prints in front of the first blank, "?" on a system without labels; the whole line, its line feed
    /// included, when there is no blank. Fails like `GetFileProp`; records "filePath: %{public}s, Selinux: %{public}s".
    std::string GetFileSeLinux(const std::string& path);

    /// Closes the run's fragment with its result and its counts.
    void JsonTail(const std::string& testName);

    /// Empties the scratch stream and clears its state.
    void ClearSstream();

    /// Turns a last ',' into '.' in each of the two texts.
    void SymbolConversion(std::string & source, std::string & patch);

    /// Has `listener` called after each item, on the thread that checks; an empty one ends that. What it throws ends the
    /// run and reaches the caller. The verdict tells inconclusive items apart, which the report counts as passed when
    /// both values are empty, and as failed when one is.
    void SetItemListener(std::function<void(const ItemResult& result)> listener);

    /// Chooses how the following files are read; `SHELL` unless called. On regular files that can be read, both give the
    /// same report and the same records. `DIRECT` starts no process: no name reaches a shell, and all can be verified.
    ///
    /// It opens each file once, and only a regular file: a live path that is a link, a directory, a pipe or a device
    /// differs from its patch file, and nothing waits for it. A value that can't be read makes the item inconclusive; the
    /// report counts it as failed, and the value's text is empty, "?" for a label. The app run is the same for both.
    void SetInspection(Inspection inspection);

    /// The inconclusive comparisons of the current or last native run. `SHELL`: those that passed because the value could
    /// be read for neither file (no shell or no `ls`, or both files unreadable). `DIRECT`: those for which a value could
    /// not be read, and those of two files without one: both missing, or neither a regular file. Unless it is 0, the run
    /// has not compared all values.
    uint64_t GetInconclusiveCount() const;

    /// The name that 0.1.0 had for `GetInconclusiveCount`.
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
    bool isUndecided_ = false;    // a check of the item had nothing to go by
    bool commandFailed_ = false;  // in the current check, as the next
    bool readFailed_ = false;
    Inspection inspection_ = Inspection::SHELL;
    std::array<std::shared_ptr<const InspectedFile>, 2> inspected_;  // of the item that is being verified
    std::function<void(const ItemResult& result)> itemListener_;
};

}  // namespace TEKLO::QuickFixEngine
