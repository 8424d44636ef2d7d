#pragma once

#include <boost/property_tree/ptree.hpp>

namespace tessel {
typedef boost::property_tree::ptree Ptree;
}
