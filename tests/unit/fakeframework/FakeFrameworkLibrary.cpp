// A framework library for the host's loader: the scriptable fake behind the
// same entry point as the real library, so a test sees what reached it.

#include <zepwrapper/ZepWrapper.h>

#include "FakeZepWrapper.h"

extern "C" {

__attribute__((visibility("default"))) tessel::test::FakeZepWrapper* fakeFramework() {
    static tessel::test::FakeZepWrapper* const pFake = new tessel::test::FakeZepWrapper();
    return pFake;
}

__attribute__((visibility("default"))) ZepWrapperAPI* zepWrapperGetInterface() {
    return fakeFramework();
}
}
