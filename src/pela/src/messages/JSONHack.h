#pragma once

#include <string>

namespace tessel {

// Typed values carried through the all-strings property tree as sentinel
// leaves, resolved in the written JSON by postprocessJSON.
class JSONHack {
public:
    static std::string getBool(bool value);
    static std::string getInt(int value);
    static std::string getUInt(unsigned int value);
    static std::string getLongLong(long long value);
    static std::string getEmptyArray();
    static std::string getEmptyObject();
    static std::string escapeUnicode(const std::string& text);
    static std::string postprocessJSON(const std::string& json);
    // Whether text holds one of the sentinels, as it is or once the escaper
    // has dropped its bytes that are not UTF-8. Such text from outside must
    // not reach the writer as it is: postprocessJSON would rewrite it.
    static bool spellsMarker(const std::string& text);

private:
    static const std::string _sFALSE;
    static const std::string _sTRUE;
    static const std::string _sINTPREFIX;
    static const std::string _sINTSUFFIX;
    static const std::string _sUINTPREFIX;
    static const std::string _sUINTSUFFIX;
    static const std::string _sLLPREFIX;
    static const std::string _sLLSUFFIX;
    static const std::string _sEMPTYARRAY;
    static const std::string _sEMPTYOBJECT;
    static const std::string _sUNICODEESCAPE;
    static const std::string _sTEMPESCAPE;
};

}  // namespace tessel
