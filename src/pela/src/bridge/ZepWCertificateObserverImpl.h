#pragma once

#include <memory>

#include <zepwrapper/ZepCertificateObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// A server certificate that failed validation, as "invalidcertificate"; the
// page's decision comes back through "handleInvalidCertificate".
class ZepWCertificateObserverImpl : public ManagedEventObserverBase,
                                    public ZepCertificateObserver,
                                    public std::enable_shared_from_this<ZepWCertificateObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onInvalidCertificate(const std::string& certFingerprint, const std::string& identifierToDisplay,
                              const std::string& certSubjectCN, const std::string& referenceId,
                              const std::vector<std::string>& invalidReasons, const std::string& subjectCertificateData,
                              const std::vector<std::string>& intermediateCACertificates, bool allowUserToAccept,
                              bool persistAcceptedDecision) override;
};

}  // namespace tessel
