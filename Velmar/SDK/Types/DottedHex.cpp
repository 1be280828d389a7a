#include "Velmar/SDK/Types/DottedHex.h"

#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::Types {

namespace {

int hexDigit(XMLCh c) {
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// Quotes at most a screenful of a refused text: it may come from a hostile file.
WString quoted(const XMLCh* text) {
    constexpr std::size_t kMaxQuoted = 120;
    WString q = u"\"";
    std::size_t i = 0;
    for (; text[i] != 0 && i < kMaxQuoted; ++i) {
        q += text[i];
    }
    q += text[i] == 0 ? u"\"" : u"...\"";
    return q;
}

}  // namespace

void readDottedHex(const XMLCh* text, unsigned char* bytes, std::size_t byteCount,
                   const char* className) {
    if (text == nullptr) {
        text = u"";
    }
    const std::size_t expected = byteCount * 3 - 1;
    std::size_t length = 0;
    bool valid = true;
    for (; text[length] != 0 && valid; ++length) {
        const std::size_t position = length % 3;
        valid = length < expected &&
                (position == 2 ? text[length] == u'.' : hexDigit(text[length]) >= 0);
    }
    if (!valid || length != expected) {
        WString message = Utils::stringToWstring(className);
        message += u" cannot read ";
        message += quoted(text);
        message += u": expected ";
        message += Utils::stringToWstring(std::to_string(byteCount).c_str());
        message += u" bytes of two hexadecimal digits separated by '.'";
        VELMAR_SDK_THROW(Exceptions::InvalidTextRepresentation, message.c_str());
    }
    for (std::size_t i = 0; i < byteCount; ++i) {
        bytes[i] =
            static_cast<unsigned char>(hexDigit(text[3 * i]) << 4 | hexDigit(text[3 * i + 1]));
    }
}

WString writeDottedHex(const unsigned char* bytes, std::size_t byteCount) {
    static constexpr char16_t kDigits[] = u"0123456789abcdef";
    WString text;
    text.reserve(byteCount * 3);
    for (std::size_t i = 0; i < byteCount; ++i) {
        if (i != 0) {
            text += u'.';
        }
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

}  // namespace Velmar::SDK::Types
