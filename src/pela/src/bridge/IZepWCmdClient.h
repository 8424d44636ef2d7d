#pragma once

class ZepWrapperAPI;

namespace tessel {

class IZepWCmdClient {
public:
    virtual ~IZepWCmdClient() = default;
    virtual void startZepWrapper() = 0;
    virtual ZepWrapperAPI* getZepWrapper() const = 0;
    virtual void stopZepWrapper() = 0;
    virtual void pumpNextDispatcherTask() = 0;
    virtual bool isZepWrapperStarted() = 0;
};

}  // namespace tessel
