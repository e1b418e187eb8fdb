// Parses two documents and writes the first one in this system's format: the least that a merge of changes
// into a JSON file costs with the JSON library. Usage: jsoncpp_merge FILE CHANGES OUTPUT
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

bool Parse(const char* path, Json::Value& document) {
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return Json::Reader().parse(text, document);
}

}  // namespace

int main(int count, char** arguments) {
    Json::Value document;
    Json::Value changes;
    if (count != 4 || !Parse(arguments[1], document) || !Parse(arguments[2], changes)) {
        return 1;
    }
    std::ofstream output(arguments[3]);
    Json::StyledStreamWriter("\t").write(output, document);
    return output.good() ? 0 : 1;
}
