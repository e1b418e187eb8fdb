// The tables of the settings pages are the source of every setting. This test compares them with docs/api.md, with the
// keys that dms reads, and with the settings that MiniDLNA's appliance.json lists as unsupported. page_test.py compares
// the rows of the administration page with docs/api.md.
#include "settings/settings_page.h"

#include <sstream>

#include "minidlna/settings.h"
#include "tests/appliance.h"

namespace {

struct DescribedPage {
    const char* name;
    const SettingsPage& page;
};
constexpr DescribedPage PAGES[] = {{"browsing", BROWSING_PAGE}, {"dma", DMA_PAGE}, {"general", GENERAL_PAGE}};

// The cells of a row by the title of their column.
using Row = std::map<std::string, std::string>;

std::string Numbers(const OnOff<int>& numbers) {
    return numbers.on == numbers.off ? std::to_string(numbers.on)
                                     : std::to_string(numbers.on) + ", " + std::to_string(numbers.off);
}

std::string Code(const char* text) { return text == nullptr ? "" : "`" + std::string(text) + "`"; }

std::string Named(Needs needs) { return needs == Needs::Restart ? "restart" : "reload"; }

Row Expected(const Switch& setting) {
    return {{"Kind", "switch"}, {"Limit", ""}, {"Default", ""}, {"Failure numbers", Numbers(setting.failureNumber)},
        {"A change needs", Named(setting.needs)}, {"Enabled by", ""}};
}

Row Expected(const Text& setting) {
    return {{"Kind", "text"}, {"Limit", std::to_string(setting.bytes - 1)}, {"Default", Code(setting.defaultValue)},
        {"Failure numbers", std::to_string(setting.failureNumber)}, {"A change needs", Named(setting.needs)},
        {"Enabled by", Code(setting.enabledBy)}};
}

Strings Cells(const std::string& line) {
    Strings cells;
    std::istringstream rest(line.substr(1));
    for (std::string cell; std::getline(rest, cell, '|');) {
        const size_t first = cell.find_first_not_of(' ');
        cells.push_back(first == cell.npos ? "" : cell.substr(first, cell.find_last_not_of(' ') - first + 1));
    }
    return cells;
}

// The first table below the heading that names the page's save, by the content of the first column.
std::map<std::string, Row> DocumentedTable(const std::string& page) {
    std::map<std::string, Row> table;
    std::istringstream document(ReadAll(SOURCE_DIRECTORY "/docs/api.md"));
    Strings titles;
    bool below = false;
    for (std::string line; std::getline(document, line);) {
        below = below || (line.starts_with('#') && line.find("save_" + page + "_page") != line.npos);
        if (below && line.starts_with('|')) {
            const Strings cells = Cells(line);
            for (size_t i = 1; i < cells.size() && i < titles.size(); ++i) {
                table[cells[0]][titles[i]] = cells[i];
            }
            titles = titles.empty() ? cells : titles;
        } else if (!table.empty()) {
            break;
        }
    }
    return table;
}

const char* FieldOf(const Setting& setting) {
    return std::visit([](const auto& row) { return row.field; }, setting);
}

const char* KeyOf(const Setting& setting) {
    return std::visit([](const auto& row) { return row.key; }, setting);
}

class SettingsTablesTest : public Appliance {};

TEST_F(SettingsTablesTest, TheDocumentDescribesThem) {
    const std::string document = ReadAll(SOURCE_DIRECTORY "/docs/api.md");
    for (const auto& [name, page] : PAGES) {
        std::map<std::string, Row> table = DocumentedTable(name);
        for (const Setting& setting : page.settings) {
            const std::string field = Code(FieldOf(setting));
            for (const auto& [title, cell] : std::visit([](const auto& row) { return Expected(row); }, setting)) {
                EXPECT_EQ(table[field][title], cell) << name << " page, " << field << ", column " << title;
            }
            table.erase(field);
        }
        for (const auto& [field, row] : table) {
            EXPECT_TRUE(row.contains("Kind") && row.at("Kind") != "switch" && row.at("Kind") != "text")
                << "docs/api.md describes a setting that the " << name << " page does not have: " << field;
        }
        EXPECT_NE(document.find("failed restart: " + std::to_string(page.restartFailureNumber)), document.npos) << name;
    }
}

// dms either reads a setting, or the page says why it does not.
TEST_F(SettingsTablesTest, TheMediaServerReadsThemOrSaysWhyNot) {
    const Json::Value appliance = ParsedJson(ReadAll(SOURCE_DIRECTORY "/minidlna/appliance.json"));
    for (const auto& [name, page] : PAGES) {
        for (const Setting& setting : page.settings) {
            dms::Settings without;
            dms::Settings with;
            WriteAll(SETTINGS, "other" KEY_SUFFIX "=\"yes\"\n");
            ASSERT_TRUE(dms::ReadSettings(without));
            WriteAll(SETTINGS, std::string(KeyOf(setting)) + "=\"yes\"\n");
            ASSERT_TRUE(dms::ReadSettings(with));
            EXPECT_NE(with != without, appliance["unsupported"].isMember(FieldOf(setting)))
                << "is " << FieldOf(setting) << " read by dms, or listed as unsupported in minidlna/appliance.json?";
        }
    }
}

}  // namespace
