#pragma once

#include <cstdint>
#include <string>

#include <boost/property_tree/ptree.hpp>

namespace tessel {
namespace zep {

// JSON from the network (provisioning, the identity provider) read into a
// property tree without exceptions: what does not parse is simply refused.
bool parseJson(const std::string& text, boost::property_tree::ptree& tree);
// An integer member, fallback when absent or not a number.
int64_t jsonInteger(const boost::property_tree::ptree& tree, const char* key, int64_t fallback);

}  // namespace zep
}  // namespace tessel
