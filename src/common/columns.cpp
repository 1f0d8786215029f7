// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/columns.h>
#include <iconv.h>
#include <langinfo.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "chars/plain.h"
#include "chars/utf8.h"

namespace zel {

namespace {

constexpr bool is_continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

struct Character {
    std::size_t bytes;
    int columns;  // -1: cannot be shown
};

/// @param text  Not empty.
Character next_character(std::string_view text) {
    // ASCII, in every character set that a terminal has; asking costs a hundred times as much.
    if (text.front() >= ' ' && text.front() <= '~') return {1, 1};
    std::mbstate_t state{};
    wchar_t wide = 0;
    const std::size_t bytes = std::mbrtowc(&wide, text.data(), text.size(), &state);
    if (bytes == 0 || bytes > text.size()) return {1, -1};  // a zero byte, or not a character
    return {bytes, chars::is_plain(static_cast<char32_t>(wide)) ? wcwidth(wide) : -1};
}

/// The locale that the environment names, by the C library's order of precedence.
const char* locale_name() {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return "C";
}

bool names_utf8(const char* locale) {
    const char* charset = std::strchr(locale, '.');
    return charset == nullptr || strncasecmp(charset, ".utf-8", 6) == 0 ||
           strncasecmp(charset, ".utf8", 5) == 0;
}

class Converter {
  public:
    explicit Converter(const char* charset) : handle_(iconv_open(charset, "UTF-8")) {}
    ~Converter() {
        if (usable()) iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    [[nodiscard]] bool usable() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    /// Converts what it can and puts "?" for each character that it cannot.
    std::string convert(std::string_view source) {
        std::string result(source.size() * 2 + 16, '\0');  // no charset of a terminal takes more
        char* in = const_cast<char*>(source.data());       // iconv's interface; it does not write there
        char* out = result.data();
        std::size_t in_left = source.size();
        std::size_t out_left = result.size();
        while (in_left > 0 &&
               iconv(handle_, &in, &in_left, &out, &out_left) == static_cast<std::size_t>(-1)) {
            if (errno == E2BIG || out_left == 0 || in_left == 0) break;
            do {
                ++in;
                --in_left;
            } while (in_left > 0 && is_continuation(*in));
            *out++ = '?';
            --out_left;
        }
        result.resize(result.size() - out_left);
        return result;
    }

  private:
    iconv_t handle_;
};

}  // namespace

void prepare_locale() {
    std::string name = locale_name();  // the environment changes
    if (std::setlocale(LC_CTYPE, name.c_str()) == nullptr && names_utf8(name.c_str())) {
        name = "C.UTF-8";
        std::setlocale(LC_CTYPE, name.c_str());
    }
    // S-Lang sets all categories by the environment. Of the other ones the tool wants nothing, no decimal comma either,
    // and finding and mapping their eleven files took as long as opening a panel's window.
    unsetenv("LC_ALL");
    setenv("LC_CTYPE", name.c_str(), 1);
    for (const char* category :
         {"LC_ADDRESS", "LC_COLLATE", "LC_IDENTIFICATION", "LC_MEASUREMENT", "LC_MESSAGES", "LC_MONETARY",
          "LC_NAME", "LC_NUMERIC", "LC_PAPER", "LC_TELEPHONE", "LC_TIME"})
        setenv(category, "C", 1);
}

std::string_view cut_bytes(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text;
    std::size_t length = limit;
    while (length > 0 && limit - length < 3 && is_continuation(text[length]))
        --length;
    return text.substr(0, is_continuation(text[length]) ? limit : length);
}

int columns_of(std::string_view text) {
    int columns = 0;
    while (!text.empty()) {
        const Character character = next_character(text);
        columns += character.columns < 0 ? 1 : character.columns;
        text.remove_prefix(character.bytes);
    }
    return columns;
}

std::string fit(std::string_view text, int columns) {
    std::string result;
    int used = 0;
    while (!text.empty()) {
        const Character character = next_character(text);
        const int width = character.columns < 0 ? 1 : character.columns;
        if (used + width > columns) break;
        if (character.columns < 0)
            result += '?';
        else
            result.append(text.substr(0, character.bytes));
        used += width;
        text.remove_prefix(character.bytes);
    }
    result.append(static_cast<std::size_t>(columns > used ? columns - used : 0), ' ');
    return result;
}

std::string printable(std::string_view text) {
    return fit(text, columns_of(text));
}

std::string shorten(std::string_view text, int columns) {
    int left = columns_of(text);
    if (left <= columns) return printable(text);
    while (left > columns - 3) {
        const Character character = next_character(text);
        left -= character.columns < 0 ? 1 : character.columns;
        text.remove_prefix(character.bytes);
    }
    return "..." + printable(text);
}

std::string abbreviate(std::string_view text, int columns) {
    return columns_of(text) <= columns ? printable(text) : fit(text, columns - 3) + "...";
}

std::string printable_lines(std::string_view text) {
    std::string result;
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
        result += printable(text.substr(0, end)) + '\n';
        text.remove_prefix(end + 1);
    }
    return result + printable(text);
}

void FreeMemory::operator()(char* memory) const {
    std::free(memory);
}

Buffer allocate_buffer(std::size_t size) {
    return Buffer(static_cast<char*>(std::calloc(size, 1)));
}

Buffer recode_for_screen(const char* text, std::size_t padding) {
    const char* charset = nl_langinfo(CODESET);
    if (std::strcmp(charset, "UTF-8") == 0 || !chars::is_utf8(text)) return nullptr;
    Converter converter(charset);
    if (!converter.usable()) return nullptr;
    const std::string converted = converter.convert(text);
    Buffer result = allocate_buffer(converted.size() + padding);
    if (result) std::memcpy(result.get(), converted.data(), converted.size());
    return result;
}

}  // namespace zel
