#include <limits>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/model/ProjectInfo.h"

namespace glintro {
namespace {

using nlohmann::json;

constexpr std::string_view kFirstId = "6F9619FF-8B86-D011-B42D-00C04FC964FF";

json validRecord() {
    return {{"name", "Demo"},
            {"created", "2025-03-14T09:26:53Z"},
            {"duration", 12.5},
            {"width", 2560},
            {"height", 1600},
            {"hasCamera", true},
            {"hasAudio", false},
            {"cameraOffset", -0.25},
            {"settings", json::object()}};
}

ProjectSettings decodedSettings(const json& settings) {
    json record = validRecord();
    record["settings"] = settings;
    const auto info = decodeProjectInfo(record.dump());
    EXPECT_TRUE(info.has_value()) << settings;
    return info.value_or(ProjectInfo()).settings;
}

TEST(ProjectInfoJson, EveryValueIsRequiredAndOfItsType) {
    const json valid = validRecord();
    for (const auto& [key, value] : valid.items()) {
        json without = valid;
        without.erase(key);
        EXPECT_FALSE(decodeProjectInfo(without.dump())) << "without " << key;
        const json wrongValues{nullptr, json::array(), value.is_number() ? json("1") : json(1)};
        for (const json& wrong : wrongValues) {
            json mistyped = valid;
            mistyped[key] = wrong;
            EXPECT_FALSE(decodeProjectInfo(mistyped.dump())) << key << " = " << wrong;
        }
    }
    json flagAsNumber = valid;
    flagAsNumber["hasCamera"] = 1;
    EXPECT_FALSE(decodeProjectInfo(flagAsNumber.dump()));
    json textAsDate = valid;
    textAsDate["created"] = "yesterday";
    EXPECT_FALSE(decodeProjectInfo(textAsDate.dump()));
}

TEST(ProjectInfoJson, OtherTextsAreDamagedWithOneSentence) {
    const std::string valid = validRecord().dump();
    const auto withWidth = [](const std::string& number) {
        std::string text = validRecord().dump();
        return text.replace(text.find("2560"), 4, number);
    };
    ASSERT_TRUE(decodeProjectInfo(withWidth("2.56e3")));
    const std::vector<std::string> texts{
        "",
        "nonsense",
        "[]",
        "null",
        "{}",
        valid + "x",
        valid + std::string(1, '\0') + "x",
        valid.substr(0, valid.size() - 1),
        "// comment\n" + valid,
        withWidth("NaN"),
        withWidth("Infinity"),
        withWidth("1e400"),
        withWidth("02560"),
        withWidth("2560."),
        std::string(1'000'000, '['),
        R"({"settings":)" + std::string(1'000'000, '['),
    };
    for (const auto& text : texts) {
        const auto info = decodeProjectInfo(text);
        ASSERT_FALSE(info) << text.substr(0, 80);
        EXPECT_EQ(info.error().message, "The project file is damaged.");
    }
}

TEST(ProjectInfoJson, OversizedTextsAreRefusedBeforeTheyAreBuilt) {
    json record = validRecord();
    record["settings"]["unknown"] = std::string(kLongestProjectText, 'x');
    EXPECT_FALSE(decodeProjectInfo(record.dump()));
    const std::string manyValues = R"({"unknown":[)" + std::string(3'000'000, ',') + "]}";
    EXPECT_FALSE(decodeProjectInfo(manyValues));
}

TEST(SettingsJson, EachMalformedValueGetsItsDefault) {
    const json zoom{{"id", kFirstId}, {"start", 1}, {"end", 2.5}, {"scale", 3}};
    const auto without = [&](const char* key) {
        json segment = zoom;
        segment.erase(key);
        return segment;
    };
    const auto with = [&](const char* key, const json& value) {
        json segment = zoom;
        segment[key] = value;
        return segment;
    };
    const ProjectSettings defaults;
    const std::vector<json> malformed{
        json::object(),
        {{"padding", "0.5"}},
        {{"padding", nullptr}},
        {{"padding", true}},
        {{"aspect", "21:9"}},
        {{"aspect", 3}},
        {{"camCorner", "middle"}},
        {{"background", "Gradient"}},
        {{"showCursor", 0}},
        {{"showCursor", "false"}},
        {{"gradientIndex", 3.5}},
        {{"gradientIndex", 1e19}},
        {{"gradientIndex", 9223372036854775808U}},
        {{"solidHex", 0x16161C}},
        {{"trimEnd", nullptr}},
        {{"trimEnd", "9"}},
        {{"splits", {1.5, "2"}}},
        {{"splits", 4}},
        {{"zooms", {zoom, without("scale")}}},
        {{"zooms", {without("id"), zoom}}},
        {{"zooms", {zoom, with("id", "6F9619FF8B86D011B42D00C04FC964FF")}}},
        {{"zooms", {zoom, with("end", "2")}}},
        {{"zooms", {zoom, 7}}},
        {{"zooms", zoom}},
        {{"cuts", {without("start")}}},
        {{"speeds", {zoom}}},
        {{"unknown", {{"nested", {1, 2, 3}}}}},
    };
    for (const json& settings : malformed) EXPECT_EQ(decodedSettings(settings), defaults) << settings;
}

// Where a number is too large for a double, the text is as good as one with a null there.
TEST(SettingsJson, ANumberTooLargeCostsItsOwnValueOnly) {
    const json zoom{{"id", kFirstId}, {"start", 1}, {"end", 2}, {"scale", 3}};
    const json range{{"id", kFirstId}, {"start", 1}, {"end", 2}, {"rate", 3}};
    json settings = json::parse(encodeProjectInfo(ProjectInfo()).value_or(""))["settings"];
    settings.update({{"gradientIndex", 3}, {"padding", 0.5}, {"trimEnd", 9}, {"camCorner", "topLeft"}});
    settings.update({{"zooms", {zoom}}, {"cuts", {range}}, {"speeds", {range}}, {"splits", {1, 2}}});
    std::vector<json::json_pointer> places;
    const json leaves = settings.flatten();
    for (const auto& [path, value] : leaves.items()) places.emplace_back(path);
    for (const auto& [key, value] : settings.items()) places.emplace_back("/" + key);
    ASSERT_GT(places.size(), 30U);
    const std::string manyDigits = "-7" + std::string(400, '0');
    for (const auto& place : places) {
        json changed = settings;
        changed[place] = nullptr;
        const ProjectSettings expected = decodedSettings(changed);
        for (const std::string number :
             {"1e999", "-1E+999", "1.5e99999999999999999999", manyDigits.c_str()}) {
            json record = validRecord();
            record["settings"] = settings;
            record["settings"][place] = "HERE";
            std::string text = record.dump();
            text.replace(text.find("\"HERE\""), 6, number);
            const auto info = decodeProjectInfo(text);
            ASSERT_TRUE(info) << place << number;
            EXPECT_EQ(info->settings, expected) << place << number;
        }
    }
}

TEST(SettingsJson, OtherNumbersAreReadAsTheyStand) {
    const auto paddingOf = [](const std::string& number) -> std::optional<double> {
        const auto info = decodeProjectInfo(R"({"name":"1e999 \\\" 1e999","created":"2025-03-14T09:26:53Z",)"
                                            R"("duration":1,"width":1,"height":1,"hasCamera":true,)"
                                            R"("hasAudio":true,"cameraOffset":0,"settings":{"padding":)"
                                            + number + "}}");
        if (!info) return std::nullopt;
        EXPECT_EQ(info->name, "1e999 \\\" 1e999");
        return info->settings.padding;
    };
    EXPECT_EQ(paddingOf("1.7e308"), 1.7e308);
    EXPECT_EQ(paddingOf("1e-999"), 0);
    EXPECT_EQ(paddingOf("0." + std::string(400, '0') + "1"), 0);
    EXPECT_EQ(paddingOf("1" + std::string(400, '0') + "e-400"), 1);
    for (const char* wrong :
         {"01e999", "1.e999", "+1e999", "1e999x", "--1e999", "x1e999", "1e999 1", ".1e999"})
        EXPECT_EQ(paddingOf(wrong), std::nullopt) << wrong;
}

TEST(SettingsJson, ReadsEachValueByItself) {
    const auto id = Uuid::parse(kFirstId).value_or(Uuid());
    const json range{{"id", "6f9619ff-8b86-d011-b42d-00c04fc964ff"}, {"start", 1}, {"end", 2.5}, {"rate", 4}};
    const ProjectSettings settings = decodedSettings({{"speeds", {range}},
                                                      {"cuts", {range}},
                                                      {"zooms", {range}}, // no scale: falls back alone
                                                      {"gradientIndex", 3.0},
                                                      {"trimEnd", 8},
                                                      {"aspect", "Source"},
                                                      {"padding", "wide"}});
    ProjectSettings expected;
    expected.speeds = {{id, 1, 2.5, 4}};
    expected.cuts = {{id, 1, 2.5}};
    expected.gradientIndex = 3;
    expected.trimEnd = 8;
    expected.aspect = AspectRatio::original;
    EXPECT_EQ(settings, expected);
}

TEST(ProjectInfoJson, WritesSortedIndentedKeysAndUpperCaseIds) {
    ProjectInfo info;
    info.name = "Demo";
    info.settings.zooms = {{Uuid::parse(kFirstId).value_or(Uuid()), 1, 2, 3}};
    const std::string text = encodeProjectInfo(info).value_or("");
    EXPECT_TRUE(text.starts_with("{\n  \"cameraOffset\": 0.0,\n  \"created\": \"1970-01-01T00:00:00Z\",\n"))
        << text;
    EXPECT_NE(text.find("        \"end\": 2.0,\n        \"id\": \"6F9619FF-8B86-D011-B42D-00C04FC964FF\",\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(json::parse(text)["settings"].size(), 22U) << "an absent trimEnd is left out";
    info.settings.trimEnd = 5;
    EXPECT_EQ(json::parse(encodeProjectInfo(info).value_or(""))["settings"].size(), 23U);
}

TEST(ProjectInfoJson, WhatCannotBeStoredIsNotWritten) {
    const double infinity = std::numeric_limits<double>::infinity();
    ProjectInfo infos[4];
    infos[0].duration = std::numeric_limits<double>::quiet_NaN();
    infos[1].settings.trimEnd = infinity;
    infos[2].settings.cuts = {{Uuid::random(), 0, -infinity}};
    infos[3].created = std::chrono::sys_days(std::chrono::year(10000) / 1 / 1);
    for (const ProjectInfo& info : infos) EXPECT_FALSE(encodeProjectInfo(info));
}

} // namespace
} // namespace glintro
