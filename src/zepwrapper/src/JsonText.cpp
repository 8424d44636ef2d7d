#include "JsonText.h"

#include <sstream>

#include <boost/property_tree/json_parser.hpp>

namespace tessel {
namespace zep {

bool parseJson(const std::string& text, boost::property_tree::ptree& tree) {
    try {
        std::istringstream in(text);
        boost::property_tree::read_json(in, tree);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

int64_t jsonInteger(const boost::property_tree::ptree& tree, const char* key, int64_t fallback) {
    try {
        return tree.get<int64_t>(key, fallback);
    } catch (const std::exception&) {
        return fallback;
    }
}

}  // namespace zep
}  // namespace tessel
