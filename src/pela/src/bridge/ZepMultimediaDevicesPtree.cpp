#include "bridge/ZepMultimediaDevicesPtree.h"

#include <string>

#include <zepwrapper/ZepMultimediaDevices.h>

#include "messages/JSONHack.h"

namespace tessel {

namespace {

// Without path parsing: device names and identifiers hold dots and colons.
void append(Ptree& tree, const char* key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

}  // namespace

Ptree ZepMultimediaDevicesPtree::toPtree(const ZepMultimediaDevices& device) {
    Ptree tree;
    append(tree, "canRecord", JSONHack::getBool(device.canRecord()));
    append(tree, "canPlayout", JSONHack::getBool(device.canPlayout()));
    append(tree, "canCapture", JSONHack::getBool(device.canCapture()));
    append(tree, "canRing", JSONHack::getBool(device.canRing()));
    append(tree, "isSelectedRecordingDevice", JSONHack::getBool(device.isSelectedRecordingDevice()));
    append(tree, "isSelectedPlayoutDevice", JSONHack::getBool(device.isSelectedPlayoutDevice()));
    append(tree, "isSelectedCaptureDevice", JSONHack::getBool(device.isSelectedCaptureDevice()));
    append(tree, "isSelectedRingerDevice", JSONHack::getBool(device.isSelectedRingerDevice()));
    append(tree, "deviceID", device.getDeviceIdentifier());
    append(tree, "deviceName", JSONHack::escapeUnicode(device.getDeviceName()));
    append(tree, "vendorID", device.getVendorID());
    append(tree, "productID", device.getProductID());
    append(tree, "hardwareID", device.getHardwareID());
    append(tree, "recordingName", JSONHack::escapeUnicode(device.getRecordingName()));
    append(tree, "playoutName", JSONHack::escapeUnicode(device.getPlayoutName()));
    append(tree, "captureName", JSONHack::escapeUnicode(device.getCaptureName()));
    append(tree, "ringerName", JSONHack::escapeUnicode(device.getRingerName()));
    append(tree, "recordingID", device.getRecordingID());
    append(tree, "playoutID", device.getPlayoutID());
    append(tree, "captureID", device.getCaptureID());
    append(tree, "ringerID", device.getRingerID());
    append(tree, "clientRecordingID", JSONHack::escapeUnicode(device.getClientRecordingID()));
    append(tree, "clientPlayoutID", JSONHack::escapeUnicode(device.getClientPlayoutID()));
    append(tree, "clientCaptureID", JSONHack::escapeUnicode(device.getClientCaptureID()));
    append(tree, "clientRingerID", JSONHack::escapeUnicode(device.getClientRingerID()));
    return tree;
}

Ptree ZepMultimediaDevicesPtree::vectorToPtree(const std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) {
    Ptree array;
    for (const auto& spDevice : devices) {
        if (spDevice) array.push_back(Ptree::value_type("", toPtree(*spDevice)));
    }
    if (array.empty()) array.put_value(JSONHack::getEmptyArray());
    return array;
}

}  // namespace tessel
