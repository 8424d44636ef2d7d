#pragma once

#include <string>
#include <vector>

#include "IObserverObject.h"

class ZepCertificateObserver : public IObserverObject {
public:
    virtual void onInvalidCertificate(const std::string& certFingerprint, const std::string& identifierToDisplay,
                                      const std::string& certSubjectCN, const std::string& referenceId,
                                      const std::vector<std::string>& invalidReasons,
                                      const std::string& subjectCertificateData,
                                      const std::vector<std::string>& intermediateCACertificates,
                                      bool allowUserToAccept, bool persistAcceptedDecision) = 0;
};
