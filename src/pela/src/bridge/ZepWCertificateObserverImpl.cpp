#include "bridge/ZepWCertificateObserverImpl.h"

#include "dispatch/HandleKnownContentEventTask.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"
#include "messages/JSONHack.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWCertificateObserverImpl";

namespace {

void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

// [{memberKey: escaped text}, ...]; [] when there are none.
Ptree escapedObjectList(const std::vector<std::string>& texts, const std::string& memberKey) {
    Ptree array;
    for (const std::string& text : texts) {
        Ptree object;
        append(object, memberKey, JSONHack::escapeUnicode(text));
        array.push_back(Ptree::value_type("", object));
    }
    if (array.empty()) {
        array.put_value(JSONHack::getEmptyArray());
    }
    return array;
}

}  // namespace

void ZepWCertificateObserverImpl::registerSelf() {
    registerWithFramework(kSrc, weak_from_this().lock(), "Registering ZepW CertificateObserver",
                          "ZepWCertificateObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWCertificateObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW CertificateObserver",
                            "ZepWCertificateObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWCertificateObserverImpl::onInvalidCertificate(const std::string& certFingerprint,
                                                       const std::string& identifierToDisplay,
                                                       const std::string& certSubjectCN, const std::string& referenceId,
                                                       const std::vector<std::string>& invalidReasons,
                                                       const std::string& subjectCertificateData,
                                                       const std::vector<std::string>& intermediateCACertificates,
                                                       bool allowUserToAccept, bool persistAcceptedDecision) {
    PELA_LOG4(getLog(), kSrc, "ZepWCertificateObserverImpl::onInvalidCertificate");
    auto spContent = std::make_shared<Ptree>();
    append(*spContent, "certFingerprint", JSONHack::escapeUnicode(certFingerprint));
    append(*spContent, "identifierToDisplay", JSONHack::escapeUnicode(identifierToDisplay));
    append(*spContent, "certSubjectCN", JSONHack::escapeUnicode(certSubjectCN));
    append(*spContent, "referenceId", JSONHack::escapeUnicode(referenceId));
    spContent->push_back(Ptree::value_type("invalidReasons", escapedObjectList(invalidReasons, "invalidReason")));
    // Certificate data is base64/PEM text; it goes as it is.
    append(*spContent, "subjectCertificateData", subjectCertificateData);
    spContent->push_back(
        Ptree::value_type("intermediateCACertificateData",
                          escapedObjectList(intermediateCACertificates, "intermediateCACertificateInfo")));
    append(*spContent, "allowUserToAccept", JSONHack::getBool(allowUserToAccept));
    append(*spContent, "persistAcceptedDecision", JSONHack::getBool(persistAcceptedDecision));
    queueTask(kSrc, newEvent(events::kInvalidCertificate, spContent));
}

}  // namespace tessel
