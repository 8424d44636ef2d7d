#pragma once

#include <string>

// One audio or video device and the roles it can play.
class ZepMultimediaDevices {
public:
    bool canRecord() const { return m_canRecord; }
    bool canPlayout() const { return m_canPlayout; }
    bool canCapture() const { return m_canCapture; }
    bool canRing() const { return m_canRing; }
    bool isSelectedRecordingDevice() const { return m_selRecording; }
    bool isSelectedPlayoutDevice() const { return m_selPlayout; }
    bool isSelectedCaptureDevice() const { return m_selCapture; }
    bool isSelectedRingerDevice() const { return m_selRinger; }
    std::string getDeviceIdentifier() const { return m_deviceId; }
    std::string getDeviceName() const { return m_deviceName; }
    std::string getVendorID() const { return m_vendorId; }
    std::string getProductID() const { return m_productId; }
    std::string getHardwareID() const { return m_hardwareId; }
    std::string getRecordingName() const { return m_recordingName; }
    std::string getPlayoutName() const { return m_playoutName; }
    std::string getCaptureName() const { return m_captureName; }
    std::string getRingerName() const { return m_ringerName; }
    std::string getRecordingID() const { return m_recordingId; }
    std::string getPlayoutID() const { return m_playoutId; }
    std::string getCaptureID() const { return m_captureId; }
    std::string getRingerID() const { return m_ringerId; }
    std::string getClientRecordingID() const { return m_clientRecordingId; }
    std::string getClientPlayoutID() const { return m_clientPlayoutId; }
    std::string getClientCaptureID() const { return m_clientCaptureId; }
    std::string getClientRingerID() const { return m_clientRingerId; }

    void setCanRecord(bool v) { m_canRecord = v; }
    void setCanPlayout(bool v) { m_canPlayout = v; }
    void setCanCapture(bool v) { m_canCapture = v; }
    void setCanRing(bool v) { m_canRing = v; }
    void setSelectedRecordingDevice(bool v) { m_selRecording = v; }
    void setSelectedPlayoutDevice(bool v) { m_selPlayout = v; }
    void setSelectedCaptureDevice(bool v) { m_selCapture = v; }
    void setSelectedRingerDevice(bool v) { m_selRinger = v; }
    void setDeviceIdentifier(const std::string& v) { m_deviceId = v; }
    void setDeviceName(const std::string& v) { m_deviceName = v; }
    void setVendorID(const std::string& v) { m_vendorId = v; }
    void setProductID(const std::string& v) { m_productId = v; }
    void setHardwareID(const std::string& v) { m_hardwareId = v; }
    void setRecordingName(const std::string& v) { m_recordingName = v; }
    void setPlayoutName(const std::string& v) { m_playoutName = v; }
    void setCaptureName(const std::string& v) { m_captureName = v; }
    void setRingerName(const std::string& v) { m_ringerName = v; }
    void setRecordingID(const std::string& v) { m_recordingId = v; }
    void setPlayoutID(const std::string& v) { m_playoutId = v; }
    void setCaptureID(const std::string& v) { m_captureId = v; }
    void setRingerID(const std::string& v) { m_ringerId = v; }
    void setClientRecordingID(const std::string& v) { m_clientRecordingId = v; }
    void setClientPlayoutID(const std::string& v) { m_clientPlayoutId = v; }
    void setClientCaptureID(const std::string& v) { m_clientCaptureId = v; }
    void setClientRingerID(const std::string& v) { m_clientRingerId = v; }

private:
    bool m_canRecord = false, m_canPlayout = false, m_canCapture = false, m_canRing = false;
    bool m_selRecording = false, m_selPlayout = false, m_selCapture = false, m_selRinger = false;
    std::string m_deviceId, m_deviceName, m_vendorId, m_productId, m_hardwareId;
    std::string m_recordingName, m_playoutName, m_captureName, m_ringerName;
    std::string m_recordingId, m_playoutId, m_captureId, m_ringerId;
    std::string m_clientRecordingId, m_clientPlayoutId, m_clientCaptureId, m_clientRingerId;
};
