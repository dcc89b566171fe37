#include "report/junit.h"

#include "report/table.h"
#include "text/escape.h"

namespace qfctl {
namespace {

std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + EscapeXml(value) + "\"";
}

std::string CountAttributes(size_t tests, size_t failures, size_t errors) {
    return Attribute("tests", std::to_string(tests)) + Attribute("failures", std::to_string(failures)) +
           Attribute("errors", std::to_string(errors));
}

std::string RenderOutcome(const ItemResult& result) {
    const std::string element = result.verdict == Verdict::FAILED ? "failure" : "error";
    std::string checks;
    std::string lines;
    for (const Difference& difference : result.differences) {
        checks += (checks.empty() ? "" : ", ") + difference.check;
        lines += (lines.empty() ? "" : "\n") + EscapeXml(difference.check) + ": live " +
                 EscapeXml(WholeValue(difference, difference.live)) + ", patch " +
                 EscapeXml(WholeValue(difference, difference.patch));
    }
    return "      <" + element + Attribute("message", checks) + Attribute("type", ToText(result.verdict)) + ">" +
           lines + "</" + element + ">\n";
}

std::string RenderCase(const std::string& run, const ItemResult& result) {
    const std::string start = "    <testcase" + Attribute("classname", run) + Attribute("name", result.item);
    return result.verdict == Verdict::PASSED ? start + "/>\n"
                                             : start + ">\n" + RenderOutcome(result) + "    </testcase>\n";
}

std::string RenderSuite(const std::string& run, const std::vector<ItemResult>& results, const Identity& identity) {
    if (results.empty()) {
        return "";
    }
    std::string xml =
        "  <testsuite" + Attribute("name", run) +
        CountAttributes(results.size(), Count(results, Verdict::FAILED), Count(results, Verdict::INCONCLUSIVE)) +
        Attribute("hostname", identity.host) + Attribute("timestamp", FormatTime(identity.start, "%Y-%m-%dT%H:%M:%S")) +
        ">\n    <properties>\n";
    for (const auto& [name, value] : Describe(identity)) {
        xml += "      <property" + Attribute("name", name) + Attribute("value", value) + "/>\n";
    }
    xml += "    </properties>\n";
    for (const ItemResult& result : results) {
        xml += RenderCase(run, result);
    }
    return xml + "  </testsuite>\n";
}

}  // namespace

std::string RenderJunit(const Results& results, const Identity& identity) {
    const std::string counts = CountAttributes(results.files.size() + results.apps.size(),
                                               results.Count(Verdict::FAILED), results.Count(Verdict::INCONCLUSIVE));
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + Attribute("name", "qfctl verify") + counts +
           ">\n" + RenderSuite("native", results.files, identity) + RenderSuite("app", results.apps, identity) +
           "</testsuites>\n";
}

}  // namespace qfctl
