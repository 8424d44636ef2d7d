#include "FakeZepWCmdClient.h"

namespace tessel {
namespace test {

void FakeZepWCmdClient::startZepWrapper() {
    ++m_startCount;
    m_started = true;
}

ZepWrapperAPI* FakeZepWCmdClient::getZepWrapper() const {
    return m_pZepW;
}

void FakeZepWCmdClient::stopZepWrapper() {
    ++m_stopCount;
    m_started = false;
}

void FakeZepWCmdClient::pumpNextDispatcherTask() {
    ++m_pumpCount;
}

bool FakeZepWCmdClient::isZepWrapperStarted() {
    return m_started;
}

}  // namespace test
}  // namespace tessel
