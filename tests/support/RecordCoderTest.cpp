#include <gtest/gtest.h>

#include <limits>

#include "support/RecordCoding.h"

namespace vigilo {

namespace {

enum class Level { low, high };

struct Inner {
  Level level{};
  std::optional<std::string> note;
  bool operator==(const Inner&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("level", &Inner::level), field("note", &Inner::note)};
  }
};

struct Outer {
  std::int32_t count = 0;
  double ratio = 0;
  bool flag = false;
  std::string text;
  Date at;
  std::optional<Inner> inner;
  std::vector<Inner> list;
  std::map<std::string, std::int64_t> byName;
  bool operator==(const Outer&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("count", &Outer::count), field("ratio", &Outer::ratio),
                      field("flag", &Outer::flag),   field("text", &Outer::text),
                      field("at", &Outer::at),       field("inner", &Outer::inner),
                      field("list", &Outer::list),   field("byName", &Outer::byName)};
  }
};

}  // namespace

template <>
struct RawValues<Level> {
  static constexpr std::array table{std::pair{Level::low, std::string_view("low")},
                                    std::pair{Level::high, std::string_view("HIGH")}};
};

namespace {

// A whole record, with one key's value replaced or, when empty, left out.
std::string with(const std::string& key, const std::string& value) {
  const std::pair<const char*, const char*> fields[] = {{"count", "1"},   {"ratio", "0.5"}, {"flag", "true"},
                                                        {"text", "\"\""}, {"at", "0"},      {"list", "[]"},
                                                        {"byName", "{}"}};
  std::string json;
  for (const auto& [name, usual] : fields) {
    const std::string text = key == name ? value : usual;
    if (!text.empty()) json += (json.empty() ? "{\"" : ",\"") + std::string(name) + "\":" + text;
  }
  if (key == "inner") json += ",\"inner\":" + value;
  return json + "}";
}

TEST(RecordCoder, NamesTheKeyPathOfWhatDoesNotFit) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"count", "", "count: expected a value, found none"},
      {"count", "null", "count: expected a value, found none"},
      {"count", "true", "count: expected a whole number"},
      {"count", "\"1\"", "count: expected a whole number"},
      {"count", "1.5", "count: expected a whole number"},
      {"count", "2147483648", "count: expected a number in range"},
      {"count", "-2147483649", "count: expected a number in range"},
      {"count", "1e300", "count: expected a number in range"},
      {"count", "18446744073709551615", "count: expected a number in range"},
      {"ratio", "false", "ratio: expected a number"},
      {"ratio", "1e999", "a number is out of range"},
      {"flag", "1", "flag: expected true or false"},
      {"text", "5", "text: expected a string"},
      {"at", "\"2026-11-21T07:57:11Z\"", "at: expected a number"},
      {"list", "{}", "list: expected an array"},
      {"byName", "[]", "byName: expected an object"},
      {"byName", "{\"x\":{}}", "expected a whole number"},
      {"inner", "[]", "inner: expected an object"},
      {"inner", "{}", "inner.level: expected a value, found none"},
      {"inner", "{\"level\":\"high\"}", "inner.level: expected one of the known values, found \"high\""},
      {"inner", "{\"level\":\"low\",\"note\":1}", "inner.note: expected a string"},
  };
  for (const auto& [key, value, reason] : cases) {
    const auto record = decodeRecord<Outer>(with(key, value));
    ASSERT_FALSE(record) << key << " = " << value;
    EXPECT_NE(record.error().description.find(reason), std::string::npos)
        << key << " = " << value << ": " << record.error().description;
  }
  for (const char* text : {"", "[]", "null", "{", "{}x", "{\"count\":}"})
    EXPECT_FALSE(decodeRecord<Outer>(text));
}

TEST(RecordCoder, TakesWhatMeansTheSame) {
  const Outer usual = *decodeRecord<Outer>(with("", ""));
  EXPECT_EQ(*decodeRecord<Outer>(with("count", "1.0")), usual);
  EXPECT_EQ(*decodeRecord<Outer>(with("inner", "null")), usual);
  EXPECT_EQ(*decodeRecord<Outer>(with("inner", "null,\"unknown\":{\"deep\":[1]}")), usual);
  EXPECT_EQ(decodeRecord<Outer>(with("ratio", "3"))->ratio, 3.0);
  const auto full = decodeRecord<Outer>(with("inner", R"({"level":"HIGH","note":null})"));
  EXPECT_EQ(full->inner, (Inner{Level::high, std::nullopt}));
}

TEST(RecordCoder, NeverWritesWhatJsonCannotHold) {
  EXPECT_THROW(encodeRecord(Outer{.ratio = std::numeric_limits<double>::infinity()}), std::domain_error);
  EXPECT_THROW(encodeRecord(Outer{.at = {std::numeric_limits<double>::quiet_NaN()}}), std::domain_error);
  EXPECT_EQ(encodeRecord(Inner{Level::low,
                               "a\xFF"
                               "b"}),
            "{\"level\":\"low\",\"note\":\"a\uFFFDb\"}");
}

TEST(RecordCoder, DeepNestingIsNoCrash) {
  for (const char open : {'[', '{'}) EXPECT_FALSE(decodeRecord<Outer>(std::string(200000, open)));
  EXPECT_FALSE(decodeRecord<Outer>(std::string(200000, '[') + std::string(200000, ']')));
}

}  // namespace
}  // namespace vigilo
