#include "bridge/ZepDeviceAndPhoneInfoPtree.h"

#include <memory>
#include <string>

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/JSONHack.h"

namespace tessel {

namespace {

// Appends without path parsing: a directory number becomes a key and may hold dots.
void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

void appendChild(Ptree& tree, const std::string& key, const Ptree& child) {
    tree.push_back(Ptree::value_type(key, child));
}

std::shared_ptr<ZepDeviceAndPhoneInfo> currentDevice(ZepWrapperAPI* pZepW) {
    if (pZepW == nullptr) {
        return std::shared_ptr<ZepDeviceAndPhoneInfo>();
    }
    return pZepW->getDeviceAndPhoneInfo();
}

Ptree activeLine(const ZepDeviceAndPhoneInfo& device) {
    Ptree line;
    appendChild(line, "capabilities", Ptree());
    append(line, "directoryNumber", device.getLineNumber());
    append(line, "name", JSONHack::escapeUnicode(device.getLineName()));
    append(line, "exists", JSONHack::getBool(true));
    return line;
}

Ptree lineDNs(const std::vector<std::string>& numbers) {
    Ptree array;
    for (const std::string& number : numbers) {
        append(array, "", number);
    }
    if (array.empty()) {
        array.put_value(JSONHack::getEmptyArray());
    }
    return array;
}

}  // namespace

Ptree ZepDeviceAndPhoneInfoPtree::toPtree(ZepWrapperAPI* pZepW) {
    Ptree tree;
    Ptree lines;
    std::shared_ptr<ZepDeviceAndPhoneInfo> spDevice = currentDevice(pZepW);
    if (spDevice) {
        append(tree, "name", JSONHack::escapeUnicode(spDevice->getName()));
        append(tree, "description", spDevice->getDescription());
        append(tree, "model", spDevice->getModel());
        append(tree, "modelDescription", spDevice->getModelDescription());
        append(tree, "isSoftPhone", JSONHack::getBool(spDevice->isSoftPhone()));
        append(tree, "isDeskPhone", JSONHack::getBool(spDevice->isDeskPhone()));
        appendChild(tree, "lineDNs", lineDNs(spDevice->getLines()));
        append(tree, "isDND", JSONHack::getBool(spDevice->getDNDState()));
        append(tree, "DNDType", JSONHack::getInt(spDevice->getDNDReason()));
        if (spDevice->isActiveLine()) {
            appendChild(lines, spDevice->getLineNumber(), activeLine(*spDevice));
        }
        append(tree, "exists", JSONHack::getBool(true));
    } else {
        append(tree, "exists", JSONHack::getBool(false));
        append(tree, "inService", JSONHack::getBool(false));
        append(tree, "name", "");
        // A number here, where a known device has a string: pages test for -1.
        append(tree, "model", JSONHack::getInt(-1));
        append(tree, "modelDescription", "");
    }
    if (lines.empty()) {
        lines.put_value(JSONHack::getEmptyObject());
    }
    appendChild(tree, "lines", lines);
    return tree;
}

Ptree ZepDeviceAndPhoneInfoPtree::fromLineInfo(ZepWrapperAPI* pZepW) {
    Ptree tree;
    std::shared_ptr<ZepDeviceAndPhoneInfo> spDevice = currentDevice(pZepW);
    if (!spDevice) {
        return tree;
    }
    if (spDevice->isActiveLine()) {
        return activeLine(*spDevice);
    }
    appendChild(tree, "capabilities", Ptree());
    append(tree, "directoryNumber", "");
    append(tree, "externalNumber", "");
    append(tree, "name", "");
    append(tree, "label", "");
    append(tree, "exists", JSONHack::getBool(false));
    append(tree, "registered", JSONHack::getBool(false));
    return tree;
}

}  // namespace tessel
