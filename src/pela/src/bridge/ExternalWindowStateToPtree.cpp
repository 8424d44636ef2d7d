#include "bridge/ExternalWindowStateToPtree.h"

#include <string>

#include <zepwrapper/ExternalWindowState.h>

#include "messages/JSONHack.h"

namespace tessel {

namespace {

void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

}  // namespace

Ptree ExternalWindowStateToPtree::toPtree(std::shared_ptr<ExternalWindowState> state) {
    Ptree tree;
    if (!state) {
        return tree;
    }
    append(tree, "callId", JSONHack::getInt(state->callId));
    append(tree, "showing", JSONHack::getBool(state->showing));
    append(tree, "selfViewPip", JSONHack::getBool(state->selfViewPip));
    append(tree, "alwaysOnTop", JSONHack::getBool(state->alwaysOnTop));
    append(tree, "preview", JSONHack::getBool(state->preview));
    append(tree, "title", JSONHack::escapeUnicode(state->title));
    append(tree, "docking", JSONHack::getBool(state->docking));
    append(tree, "controlsEnabled", JSONHack::getBool(state->controlsEnabled));
    return tree;
}

}  // namespace tessel
