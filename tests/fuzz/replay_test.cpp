#include "fuzz_targets.h"
#include "support/test.h"

namespace {

/// Changes, inserts, repeats or removes bytes of the seed.
std::string Mutate(std::string input, std::mt19937& random) {
    const std::string alphabet = std::string("=\n#{}[]\":,0 aK\\%\"<&\xff\x80\r|") + '\0';
    for (size_t change = random() % 4; change < 4 && !input.empty(); ++change) {
        const size_t at = random() % input.size();
        switch (random() % 4) {
            case 0:
                input[at] = alphabet[random() % alphabet.size()];
                break;
            case 1:
                input.insert(at, input, random() % input.size(), random() % 300);
                break;
            case 2:
                input.erase(at, 1 + random() % 8);
                break;
            default:
                input.insert(at, 1, alphabet[random() % alphabet.size()]);
        }
    }
    return input;
}

TEST(FuzzTargets, AcceptSeedsAndTheirVariants) {
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    std::mt19937 random(20);
    const bool hasOwnCommandLine = Stat("/proc/cmdline").st_dev != Stat("/proc").st_dev;
    for (const auto& [name, target] : FUZZ_TARGETS) {
        if (name == "command_line" && !hasOwnCommandLine) {
            continue;
        }
        int seeds = 0;
        for (const auto& file : fs::directory_iterator(fs::path(SEEDS) / name)) {
            const std::string seed = Read(file.path());
            target(seed);
            for (int i = 0; i < 200; ++i) {
                target(Mutate(seed, random));
            }
            ++seeds;
        }
        EXPECT_GT(seeds, 0) << name;
    }
    if (!hasOwnCommandLine && !HasFailure()) {
        GTEST_SKIP() << "/proc/cmdline is the kernel's; the seeds of all other targets passed";
    }
}

}  // namespace
