#pragma once

struct _MSFactory;

namespace tessel {
namespace zep {

// The engine's video renderer for the external window: a display filter
// whose "native window id" is a VideoFrameSink, into which it hands every
// frame it gets; the window draws from the sink. Ours rather than one of the
// engine's X11 renderers, which draw into windows of their own from their own
// X connections: one of them stops drawing for good after any X error, and
// they resize the window they are given.
extern const char* const kVideoAreaFilterName;

// Makes the renderer known to an engine's filter factory.
void registerVideoAreaFilter(_MSFactory* factory);

}  // namespace zep
}  // namespace tessel
