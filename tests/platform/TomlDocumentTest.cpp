#include "platform/linux/TomlDocument.h"

#include <gtest/gtest.h>

#include <limits>

namespace vigilo {
namespace {

using Value = std::optional<DefaultsValue>;

TomlDocument parsed(const std::string& text) {
  auto document = TomlDocument::parse(text);
  EXPECT_TRUE(document) << document.error().description;
  return *document;
}

TEST(TomlDocument, KeepsEverythingThatAnEditDoesNotConcern) {
  struct Row {
    const char *name, *before, *key;
    Value value;
    const char* after;
  };
  const Row rows[] = {
      {"an empty file", "", "a", true, "a = true\n"},
      {"no line end at the end", "b = 1", "a", true, "b = 1\na = true\n"},
      {"comments and blanks stay", "# héad\n\n  a   =  1_0   # é why\nb = 2\n", "a", std::int64_t{7},
       "# héad\n\n  a   =  7   # é why\nb = 2\n"},
      {"a quoted key", "\"a\" = 'é'\n", "a", 2.5, "\"a\" = 2.5\n"},
      {"a value of several lines", "x = 1\na = [\n 1, # one\n]\ny = 2\n", "a", true,
       "x = 1\na = true\ny = 2\n"},
      {"a new key stands before the first table", "x = 1\n\n# about t\n[t]\na = 2\n", "a", true,
       "x = 1\na = true\n\n# about t\n[t]\na = 2\n"},
      {"a file of tables only", "[[t]]\na = 2\n", "a", true, "a = true\n[[t]]\na = 2\n"},
      {"what only looks like a table", "x = [\n[1],\n]\ns = '''\n[t]\n'''\n[t.u]\n", "a", true,
       "x = [\n[1],\n]\ns = '''\n[t]\n'''\na = true\n[t.u]\n"},
      {"dotted keys and tables in a line", "x.y = 1\nz = {q = 1}\n [t]\n", "a", true,
       "x.y = 1\nz = {q = 1}\na = true\n [t]\n"},
      {"lines that end in CR LF", "x = 1\r\na = 2\r\n", "b", true, "x = 1\r\na = 2\r\nb = true\r\n"},
      {"a key below a byte order mark",
       "\xEF\xBB\xBF"
       "a = 1\nb = 2\n",
       "a",
       {},
       "\xEF\xBB\xBF"
       "b = 2\n"},
      {"a removed key takes its line along", "x = 1\na = [\n1]  # gone\ny = 2\n", "a", {}, "x = 1\ny = 2\n"},
      {"a removed last line", "x = 1\na = 2", "a", {}, "x = 1\n"},
      {"a key that needs quotes", "", "a b", true, "\"a b\" = true\n"},
  };
  for (const Row& row : rows) {
    const auto document = parsed(row.before).with(row.key, row.value);
    ASSERT_TRUE(document) << row.name << ": " << document.error().description;
    EXPECT_EQ(document->text(), row.after) << row.name;
  }
}

TEST(TomlDocument, ValuesReadBackAsTheyWereWritten) {
  using Number = std::numeric_limits<double>;
  for (const DefaultsValue& value : std::initializer_list<DefaultsValue>{
           true, std::int64_t{-5}, std::numeric_limits<std::int64_t>::max(), 30.0, 0.1, 1e300,
           -Number::infinity(), Number::denorm_min(), std::string("\"é\\\n\t\x01\x7f"), Date{0},
           Date{800000000.1234567}, Date{-0.25}, Date{816955200.9999999}}) {
    const auto document = TomlDocument().with("a", value);
    ASSERT_TRUE(document);
    EXPECT_EQ(document->values().at("a"), value) << document->text();
  }
  // What the format cannot say becomes the nearest that it can.
  EXPECT_EQ(TomlDocument().with("a", Date{Number::infinity()})->text(), "a = 9999-12-31T23:59:59Z\n");
  EXPECT_EQ(TomlDocument().with("a", Number::quiet_NaN())->text(), "a = nan\n");
}

TEST(TomlDocument, ADateCountsOnlyWithAnOffset) {
  const auto document = parsed("a = 2026-11-21T08:00:00+01:00\nb = 2026-11-21T08:00:00\nc = 2026-11-21\n");
  EXPECT_EQ(document.values(), (DefaultsValues{{"a", Date::fromIso8601("2026-11-21T07:00:00Z").value()}}));
  EXPECT_EQ(document.otherKeys(), (std::vector<std::string>{"b", "c"}));
}

TEST(TomlDocument, AnErrorSaysWhereItIs) {
  for (const auto& [text, place] : {std::pair{"x = 1\ny = = 2\n", "line 2, column 5"},
                                    {"a = 1\na = 2\n", "line 2, column "},
                                    {"a = \"\xff\"\n", "line 1, column "},
                                    {"a = tru\n", "line 1, column "},
                                    {"a = 1\n# \x01", "line 2, column 3"},
                                    {"a = \"ü\"\nü = 1", "line 2, column 1"},
                                    {"a = 'ü'ü", "line 1, column 8"},
                                    {"a = \"\"\"ü\\\n ü\"\"\"", "line 2, column 2"},
                                    // At these the library stops a program that is built with assertions.
                                    {"a = 1\n[=]", "line 2: "},
                                    {"\n\na = 2026-11-21T/2:00:00Z\n", "line 3: "}}) {
    const auto document = TomlDocument::parse(text);
    ASSERT_FALSE(document) << text;
    EXPECT_TRUE(document.error().description.starts_with(place)) << document.error().description;
  }
}

TEST(TomlDocument, TextBeyondAsciiCountsWhereverTomlHasIt) {
  const auto document = parsed(
      "\xEF\xBB\xBF# ü\r\na = \"ü\\\"\" # ü\n\"ü\" = 'ü' \nb.'ü' = [\n\"ü\", 'ü'\n,]\n"
      "c = {\"ü\" = \"\"\"\n\"ü\"\"\\\n  x\n\"\"\"\"\" , 'é' = [{x = 1}]}\nd = '''ü''''\n[[\"é\".x]]\n");
  EXPECT_EQ(document.values(), (DefaultsValues{{"a", "ü\""}, {"ü", "ü"}, {"d", "ü'"}}));
}

TEST(TomlDocument, ATableIsNotOverwrittenByAValue) {
  for (const char* text : {"[a]\nx = 1\n", "a.x = 1\n", "a = {x = 1}\n", "[[a]]\nx = 1\n"}) {
    EXPECT_FALSE(parsed(text).with("a", true)) << text;
  }
}

}  // namespace
}  // namespace vigilo
