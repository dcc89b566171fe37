#include "json_tool.h"

#include <cjson/cJSON.h>

#include "support/test.h"

namespace {

using Tree = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

Tree Parse(const std::string& content) {
    Write("/tmp/json", content);
    return {JsonTool::ParseJsonFromFile("/tmp/json"), cJSON_Delete};
}

/// Returns the types for which the Is functions return true, and "[" or "{" if GetArray or GetObject finds the member.
std::string Types(cJSON* root) {
    return std::string(JsonTool::IsInt(root, "key") ? "int" : "") + (JsonTool::IsString(root, "key") ? "string" : "") +
           (JsonTool::IsBoolean(root, "key") ? "bool" : "") + (JsonTool::IsArray(root, "key") ? "array" : "") +
           (JsonTool::GetArray(root, "key") != nullptr ? "[" : "") + (JsonTool::IsObject(root, "key") ? "object" : "") +
           (JsonTool::GetObject(root, "key") != nullptr ? "{" : "");
}

TEST(Json, ReadsMembersByTypeInAnyLocale) {
    constexpr struct {
        const char* json = "";
        const char* types = "";
        int number = -1;
        const char* text = "-";
        bool truth = true;
    } CASES[] = {
        {R"({"Key":7})", "int", 7},
        {R"({"Key":3.9})", "int", 3},
        {R"({"Key":1e99})", "int", 2147483647},
        {R"({"Key":"5"})", "string", -1, "5"},
        {R"({"Key":""})", "string", -1, ""},
        {R"({"Key":true})", "bool"},
        {R"({"Key":false})", "bool", -1, "-", false},
        {R"({"Key":null})", ""},
        {R"({"Key":[1]})", "array["},
        {R"({"Key":{}})", "object{"},
        {R"({"other":7})", ""},
    };
    setenv("LOCPATH", "/tmp", 1);
    ASSERT_EQ(std::system("localedef -i de_DE -f UTF-8 /tmp/de_DE.UTF-8"), 0) << "the package locales is missing";
    for (const char* locale : {"C", "de_DE.UTF-8"}) {
        ASSERT_NE(setlocale(LC_ALL, locale), nullptr);
        for (const auto& [json, types, number, text, truth] : CASES) {
            const Tree root = Parse(json);
            EXPECT_EQ(Types(root.get()), types) << json;
            EXPECT_EQ(JsonTool::GetInt(root.get(), "key", -1), number) << json;
            EXPECT_EQ(JsonTool::GetString(root.get(), "KEY", "-"), text) << json;
            EXPECT_EQ(JsonTool::GetBool(root.get(), "key", true), truth) << json;
            EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE) << "restores the caller's locale";
        }
    }
}

TEST(Json, ParsesDocumentsUpToTheirLimits) {
    PlumeCapture capture;
    EXPECT_NE(Parse("{} and more"), nullptr);
    EXPECT_NE(Parse(std::string(1000, '[') + std::string(1000, ']')), nullptr);
    for (const std::string& json :
         {std::string("no json"), std::string("{\"a\":"), std::string(1001, '['), std::string("\0{}", 3)}) {
        EXPECT_EQ(Parse(json), nullptr) << json;
    }
    EXPECT_EQ(capture.Take(), Records{});
    EXPECT_EQ(Parse(""), nullptr);
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{"E ParseJsonFromFile: jsonString is empty."});
    EXPECT_EQ(Types(nullptr), "");
}

}  // namespace
