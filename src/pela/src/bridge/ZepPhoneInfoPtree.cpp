#include "bridge/ZepPhoneInfoPtree.h"

#include <string>

#include <zepwrapper/ZepPhoneInfo.h>

#include "messages/JSONHack.h"

namespace tessel {

namespace {

void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

}  // namespace

Ptree ZepPhoneInfoPtree::toPtree(std::shared_ptr<ZepPhoneInfo> phone) {
    Ptree tree;
    if (!phone) {
        return tree;
    }
    append(tree, "name", JSONHack::escapeUnicode(phone->getName()));
    append(tree, "description", phone->getDescription());
    append(tree, "model", phone->getModel());
    append(tree, "modelDescription", phone->getModelDescription());
    append(tree, "isSoftPhone", JSONHack::getBool(phone->isSoftPhone()));
    append(tree, "isDeskPhone", JSONHack::getBool(phone->isDeskPhone()));
    Ptree lineDNs;
    for (const std::string& number : phone->getLineDNs()) {
        append(lineDNs, "", number);
    }
    if (lineDNs.empty()) {
        lineDNs.put_value(JSONHack::getEmptyArray());
    }
    tree.push_back(Ptree::value_type("lineDNs", lineDNs));
    return tree;
}

Ptree ZepPhoneInfoPtree::vectorToPtree(PhoneList phones) {
    Ptree array;
    if (phones) {
        for (const auto& spPhone : *phones) {
            if (spPhone) {
                array.push_back(Ptree::value_type("", toPtree(spPhone)));
            }
        }
    }
    if (array.empty()) {
        array.put_value(JSONHack::getEmptyArray());
    }
    return array;
}

}  // namespace tessel
