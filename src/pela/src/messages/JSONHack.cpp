#include "messages/JSONHack.h"

#include "messages/StringUtil.h"

namespace tessel {

const std::string JSONHack::_sFALSE = "bpoins dfsd9879dbq6zoD34_JSONHack_FALSE";
const std::string JSONHack::_sTRUE = "lz_db4-sebqp2077,,4_JSONHack_TRUE";
const std::string JSONHack::_sINTPREFIX = "__3778923bsd-3SbR4201dl_wd_JSONHack_int_";
const std::string JSONHack::_sINTSUFFIX = "__SUFFIX__23j#jHBzX?1!_";
const std::string JSONHack::_sUINTPREFIX = "__CESc1xQqACzFwGXwnqIK_JSONHack_uint_";
const std::string JSONHack::_sUINTSUFFIX = "__SUFFIX__4asCgBC52nJgECqFrW6s";
const std::string JSONHack::_sLLPREFIX = "__NrHPkPcDPMvviqiBycXr_ll_";
const std::string JSONHack::_sLLSUFFIX = "__SUFFIX__SMIMlczuKIwmwGvWIzw9";
const std::string JSONHack::_sEMPTYARRAY = "donR30VV_JSONHack_EMPTY_ARRAY";
const std::string JSONHack::_sEMPTYOBJECT = "d5423h0VV_JSONHack_EMPTY_OBJECT";
const std::string JSONHack::_sUNICODEESCAPE = "CEB4CEB5CEB9CEBDCF8CCF82_JSONHack_UNICODE_ESCAPE";
const std::string JSONHack::_sTEMPESCAPE = "E69C80E9AB98_JSONHack_TEMP_ESCAPE";

namespace {

const char* const kQuote = "\"";
const char* const kBackslashU = "\\u";

// Replaces every occurrence, resuming behind the inserted text so that a
// replacement is never matched again.
void replaceAll(std::string& text, const std::string& find, const std::string& replacement) {
    if (find.empty()) {
        return;
    }
    std::string::size_type pos = 0;
    while ((pos = text.find(find, pos)) != std::string::npos) {
        text.replace(pos, find.size(), replacement);
        pos += replacement.size();
    }
}

}  // namespace

std::string JSONHack::getBool(bool value) {
    return value ? _sTRUE : _sFALSE;
}

// std::to_string, not a stream: the global locale must never add grouping.
std::string JSONHack::getInt(int value) {
    return _sINTPREFIX + std::to_string(value) + _sINTSUFFIX;
}

std::string JSONHack::getUInt(unsigned int value) {
    return _sUINTPREFIX + std::to_string(value) + _sUINTSUFFIX;
}

std::string JSONHack::getLongLong(long long value) {
    return _sLLPREFIX + std::to_string(value) + _sLLSUFFIX;
}

std::string JSONHack::getEmptyArray() {
    return _sEMPTYARRAY;
}

std::string JSONHack::getEmptyObject() {
    return _sEMPTYOBJECT;
}

bool JSONHack::spellsMarker(const std::string& text) {
    if (text.find('_') == std::string::npos) {
        return false;
    }
    const std::string cleaned = StringUtil::utf8ToEscString(text);
    for (const std::string* marker :
         {&_sFALSE, &_sTRUE, &_sINTPREFIX, &_sINTSUFFIX, &_sUINTPREFIX, &_sUINTSUFFIX, &_sLLPREFIX, &_sLLSUFFIX,
          &_sEMPTYARRAY, &_sEMPTYOBJECT, &_sUNICODEESCAPE, &_sTEMPESCAPE}) {
        if (text.find(*marker) != std::string::npos || cleaned.find(*marker) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string JSONHack::escapeUnicode(const std::string& text) {
    // Page text that spells a marker would be rewritten by postprocessJSON,
    // some into text that is not JSON at all. Every marker has an underscore
    // (so text without one is safe): the text's own then go out as escapes,
    // and no piece can spell a marker any more.
    if (spellsMarker(text)) {
        std::string result;
        std::string::size_type start = 0;
        for (;;) {
            std::string::size_type underscore = text.find('_', start);
            result += escapeUnicode(text.substr(start, underscore - start));
            if (underscore == std::string::npos) {
                return result;
            }
            result += _sUNICODEESCAPE + "005F";
            start = underscore + 1;
        }
    }
    // A backslash-u the user typed is parked so that it stays text; the
    // escapes made here travel as markers until postprocessJSON.
    std::string result = text;
    replaceAll(result, kBackslashU, _sTEMPESCAPE);
    result = StringUtil::utf8ToEscString(result);
    replaceAll(result, kBackslashU, _sUNICODEESCAPE);
    replaceAll(result, _sTEMPESCAPE, kBackslashU);
    return result;
}

std::string JSONHack::postprocessJSON(const std::string& json) {
    std::string result = json;
    replaceAll(result, kQuote + _sFALSE + kQuote, "false");
    replaceAll(result, kQuote + _sTRUE + kQuote, "true");
    replaceAll(result, kQuote + _sEMPTYARRAY + kQuote, "[]");
    replaceAll(result, kQuote + _sEMPTYOBJECT + kQuote, "{}");
    replaceAll(result, kQuote + _sINTPREFIX, "");
    replaceAll(result, _sINTSUFFIX + kQuote, "");
    replaceAll(result, kQuote + _sUINTPREFIX, "");
    replaceAll(result, _sUINTSUFFIX + kQuote, "");
    replaceAll(result, kQuote + _sLLPREFIX, "");
    replaceAll(result, _sLLSUFFIX + kQuote, "");
    replaceAll(result, _sUNICODEESCAPE, kBackslashU);
    return result;
}

}  // namespace tessel
