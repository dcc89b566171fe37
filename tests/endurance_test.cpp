#include <sys/mman.h>

#include "support/event_listener.h"
#include "support/fault_injector.h"
#include "support/native_run.h"

namespace {

constexpr off_t FULL = 65536;
constexpr off_t LONGEST_RECORD = 160;
constexpr int THREADS = 8;

/// Checks that the log holds the records of each thread completely and in order.
class Audit {
public:
    /// Unless `complete`, the rotation may have discarded the first records.
    explicit Audit(bool complete) : complete_(complete) {}

    void TakeFile(const std::string& path) {
        EXPECT_LT(Stat(path).st_size, FULL + LONGEST_RECORD);
        const std::string content = Read(path);
        std::istringstream lines(content);
        for (std::string line; std::getline(lines, line);) {
            // A killed process leaves a partial record only at a page boundary.
            const bool partial = lines.eof() && content.size() % static_cast<size_t>(sysconf(_SC_PAGESIZE)) == 0;
            if (!partial) {
                TakeLine(line);
            }
        }
    }

    int Last(int thread) const { return last_.at(static_cast<size_t>(thread)); }

private:
    void TakeLine(const std::string& line) {
        int thread = -1;
        int record = -1;
        int length = 0;
        const char* format =
            "%*d-%*d-%*d %*d:%*d:%*d.%*3d[endurance_test(WriteRecord):%*d]thread %d record %d of some length%n";
        ASSERT_TRUE(sscanf(line.c_str(), format, &thread, &record, &length) == 2) << line;
        ASSERT_EQ(line.size(), static_cast<size_t>(length)) << line;
        int& last = last_.at(static_cast<size_t>(thread));
        EXPECT_TRUE(record == last + 1 || (last < 0 && !complete_))
            << "thread " << thread << ": " << record << " after " << last;
        last = record;
    }

    bool complete_;
    std::array<int, THREADS> last_ = {-1, -1, -1, -1, -1, -1, -1, -1};
};

void WriteRecord(int thread, int record) {
    QF_FILE_LOGI("thread %{public}d record %{public}d of some length", thread, record);
}

Audit g_audit(true);

TEST(LogThreads, WriteEveryRecordWholeAndInOrder) {
    const char* given = getenv("QUICKFIX_LOAD_RECORDS");
    const int records = given != nullptr ? std::stoi(given) : 100000;
    QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::ERROR;
    // Reads the older file before a rotation removes it.
    FaultInjector::Watch("remove", [] { g_audit.TakeFile(FIRST_LOG); });
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([thread, records] {
            for (int record = 0; record < records; ++record) {
                WriteRecord(thread, record);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    FaultInjector::End();
    g_audit.TakeFile(FIRST_LOG);
    g_audit.TakeFile(SECOND_LOG);
    for (int thread = 0; thread < THREADS; ++thread) {
        EXPECT_EQ(g_audit.Last(thread), records - 1);
    }
}

TEST(KilledProcess, LosesNoRecordThatItWrote) {
    auto* written = static_cast<std::atomic<int>*>(
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(static_cast<void*>(written), MAP_FAILED);
    *written = -1;
    QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::ERROR;
    std::mt19937 random(7);
    const auto hasWritten = [&](int records) { return Eventually([&] { return *written >= records; }); };
    for (int round = 0; round < 200; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            for (;;) {
                WriteRecord(0, *written + 1);
                ++*written;
            }
        }
        // In half of the rounds the kill may come before the first record.
        EXPECT_TRUE(round % 2 == 0 || hasWritten(*written + 20));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        Audit audit(false);
        audit.TakeFile(FIRST_LOG);
        audit.TakeFile(SECOND_LOG);
        // The last record may be written but not yet counted.
        ASSERT_THAT(audit.Last(0), testing::AnyOf(written->load(), *written + 1)) << round;
        *written = audit.Last(0);
    }
    EXPECT_GT(Stat(FIRST_LOG).st_size, FULL - 1) << "too few records for a rotation";
    munmap(written, sizeof(std::atomic<int>));
}

/// Equal pairs of a live file and a patch file, and random changes to them.
class Pairs {
public:
    static constexpr size_t COUNT = 125;

    Pairs() {
        for (size_t i = 0; i < COUNT; ++i) {
            Install(Live(i));
        }
    }

    static std::string Live(size_t i) { return "/live/" + std::to_string(i % 7) + "/" + std::to_string(i); }

    void Install(const std::string& live) {
        std::string content(1 + random_() % 9000, '\0');
        std::generate(content.begin(), content.end(), [this] { return static_cast<char>(random_()); });
        for (const std::string& path : {live, OVERLAY + live}) {
            fs::remove(path);  // without root, the changed mode may forbid writing
            Write(path, content + live);
            fs::permissions(path, fs::perms(0644));
            SetLabel(path, "u:object_r:system_file:s0");
        }
    }

    /// Changes at least `count` pairs. Returns a description of each change by live path.
    std::map<std::string, std::string> Change(size_t count) {
        std::array<size_t, COUNT> order = {};
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), random_);
        std::map<std::string, std::string> changed;
        for (size_t next = 0; changed.size() < count; ++next) {
            const std::string live = Live(order.at(next));
            if (random_() % 6 == 0) {
                const std::string other = Live(order.at(++next));
                changed[live] = changed[other] = "swapped with each other";
                fs::rename(live, "/live/swapped");
                fs::rename(other, live);
                fs::rename("/live/swapped", other);
            } else {
                changed[live] = ChangeOne(live);
            }
        }
        return changed;
    }

private:
    std::string ChangeOne(const std::string& live) {
        const std::string path = (random_() % 2 == 0 ? "" : OVERLAY) + live;
        const size_t at = random_() % fs::file_size(path);
        switch (random_() % 5) {
            case 0: {
                std::string content = Read(path);
                content[at] = static_cast<char>(content[at] ^ (1 << random_() % 8));
                std::ofstream(path, std::ios::binary) << content;
                return "a bit of " + path + " at " + std::to_string(at);
            }
            case 1:
                fs::resize_file(path, at);
                return "cut " + path + " at " + std::to_string(at);
            case 2:
                // An ordinary user must keep read permission.
                fs::permissions(path, fs::perms(Mode(path) ^ (1U << random_() % (geteuid() == 0 ? 12 : 8))));
                return "the mode of " + path + ": " + std::to_string(Mode(path));
            case 3:
                if (SetLabel(path, "u:object_r:other:s0")) {
                    return "the label of " + path;
                }
                [[fallthrough]];
            default:
                fs::remove(live);
                return "deleted " + live;
        }
    }

    static inline const std::string OVERLAY = "/patch_qv/overlay";
    std::mt19937 random_{4};
};

TEST(RandomChanges, AreAllReportedAndNothingElseByBothInspections) {
    Pairs pairs;
    for (int changes = 0; changes < 1000;) {
        const auto changed = pairs.Change(100);
        const NativeRun run(Inspection::SHELL);
        const NativeRun direct(Inspection::DIRECT);
        EXPECT_EQ(direct.items, run.items);
        EXPECT_EQ(direct.reportAndLogs, run.reportAndLogs);
        EXPECT_EQ(run.inconclusive + direct.inconclusive, 0U);
        std::set<std::string> reported;
        for (const std::string& item : run.items) {
            if (item.find(" passed") == std::string::npos) {
                reported.insert(item.substr(0, item.find(' ')));
            }
        }
        for (const auto& [live, change] : changed) {
            EXPECT_EQ(reported.erase(live), 1U) << "not reported: " << change;
            pairs.Install(live);
            ++changes;
        }
        EXPECT_THAT(reported, testing::IsEmpty()) << "false alarms";
    }
}

}  // namespace
