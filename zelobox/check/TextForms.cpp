#include "zelobox/check/TextForms.h"

#include <algorithm>
#include <optional>

#include "zelobox/base/Printable.h"

namespace zelobox {

namespace {

using Texts = std::vector<std::string>;

size_t const textsBegin = 16;
size_t const textsBeforeValue = 4; // the auxiliary value stands before the last text
size_t const textCount = 5;

/// How a text is written. The first of each member is what the protocol says.
struct TextForm {
    size_t lengthSize = 2; // 0: no length, the byte 0 ends the text
    bool littleEndian = false;
    bool countsTerminator = true;
    bool hasTerminator = true;
    size_t begin = textsBegin;
};

/// Reads by a form that may be wrong.
class FormReader {
public:
    FormReader(std::vector<char> const& bytes, TextForm const& textForm)
        : payload(bytes), form(textForm), next(textForm.begin)
    {
    }

    /// @return nothing when the payload is not written in this form
    std::optional<Texts> texts()
    {
        Texts all;
        for (size_t i = 0; i < textCount; ++i) {
            if (i == textsBeforeValue) {
                ++next;
            }
            std::optional<std::string> text = form.lengthSize == 0 ? upToZero() : counted();
            if (!text || !isReadable(*text)) {
                return std::nullopt;
            }
            all.push_back(std::move(*text));
        }
        bool const isSomething = std::any_of(all.begin(), all.end(), [](auto const& text) { return !text.empty(); });
        return next == payload.size() && isSomething ? std::optional(all) : std::nullopt;
    }

private:
    static bool isReadable(std::string const& text)
    {
        return isUtf8(text) && std::all_of(text.begin(), text.end(),
                                           [](char byte) { return static_cast<unsigned char>(byte) >= 0x20; });
    }

    bool has(size_t size) const { return next <= payload.size() && size <= payload.size() - next; }

    std::optional<std::string> upToZero()
    {
        if (!has(1)) {
            return std::nullopt;
        }
        auto const begin = payload.begin() + static_cast<std::ptrdiff_t>(next);
        auto const zero = std::find(begin, payload.end(), '\0');
        next += static_cast<size_t>(zero - begin) + 1;
        return zero != payload.end() ? std::optional(std::string(begin, zero)) : std::nullopt;
    }

    std::optional<std::string> counted()
    {
        if (!has(form.lengthSize)) {
            return std::nullopt;
        }
        size_t length = 0;
        for (size_t i = 0; i < form.lengthSize; ++i) {
            size_t const shift = form.littleEndian ? 8 * i : 8 * (form.lengthSize - 1 - i);
            length |= static_cast<size_t>(static_cast<uint8_t>(payload[next + i])) << shift;
        }
        next += form.lengthSize;
        if (form.countsTerminator && length-- == 0) {
            return std::nullopt;
        }
        if (!has(length + (form.hasTerminator ? 1 : 0))) {
            return std::nullopt;
        }
        auto const begin = payload.begin() + static_cast<std::ptrdiff_t>(next);
        auto const end = begin + static_cast<std::ptrdiff_t>(length);
        next += length + (form.hasTerminator ? 1 : 0);
        return form.hasTerminator && *end != 0 ? std::nullopt : std::optional(std::string(begin, end));
    }

    std::vector<char> const& payload;
    TextForm const form;
    size_t next;
};

/// @return what of @p form is not as the protocol says
std::vector<std::string> deviationsOf(TextForm const& form)
{
    std::vector<std::string> all;
    if (form.begin != textsBegin) {
        all.push_back("they begin at offset " + std::to_string(form.begin) + ", not " + std::to_string(textsBegin));
    }
    if (form.lengthSize == 0) {
        all.emplace_back("they have no length and end at their byte 00");
        return all;
    }
    if (form.lengthSize != 2) {
        all.push_back("their lengths have " + std::to_string(8 * form.lengthSize) + " bits");
    }
    if (form.littleEndian) {
        all.emplace_back("their lengths are little-endian");
    }
    if (!form.countsTerminator) {
        all.emplace_back(form.hasTerminator ? "their lengths do not count the byte 00" : "no byte 00 follows them");
    } else if (!form.hasTerminator) {
        all.emplace_back("their lengths count a byte 00 that is not there");
    }
    return all;
}

std::vector<TextForm> textForms()
{
    std::vector<TextForm> forms;
    for (size_t begin = textsBegin - 4; begin <= textsBegin + 8; ++begin) {
        forms.push_back({0, false, false, true, begin});
        for (size_t const size : {2U, 4U, 1U}) {
            for (unsigned flags = 0; flags < 8; ++flags) {
                forms.push_back({size, (flags & 1U) != 0, (flags & 2U) == 0, (flags & 4U) == 0, begin});
            }
        }
    }
    std::stable_sort(forms.begin(), forms.end(), [](TextForm const& left, TextForm const& right) {
        return deviationsOf(left).size() < deviationsOf(right).size();
    });
    return forms;
}

} // namespace

std::string guessTextForm(std::vector<char> const& payload)
{
    static std::vector<TextForm> const forms = textForms();
    for (TextForm const& form : forms) {
        std::optional<Texts> const texts = FormReader(payload, form).texts();
        if (!texts) {
            continue;
        }
        std::string hint;
        for (std::string const& deviation : deviationsOf(form)) {
            hint += (hint.empty() ? "all texts read if " : " and ") + deviation;
        }
        std::string list;
        for (std::string const& text : *texts) {
            list += (list.empty() ? ": \"" : ", \"") + printable(text) + "\"";
        }
        return hint.empty() ? "" : hint + list;
    }
    return "";
}

} // namespace zelobox
