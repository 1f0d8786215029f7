// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/columns.h>
#include <agntconf/msgwindow.h>
#include <agntconf/readstrfile.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zel/trace.h>
#include <zel/win32.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace zel {

char* ZEL_RcFileBuf = nullptr;
char ReadString[kTextBufferSize];

namespace {

constexpr char kModule[] = "readstrfile";

char deststr[kTextBufferSize];

const char* or_null(const char* value) {
    return value != nullptr ? value : "NULL";
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Opens a regular file. Anything else is refused: a pipe in its place would hold the program up, a device may do
/// something by being opened, which the look before tells.
std::FILE* open_regular(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
    const int found = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (found < 0) return nullptr;
    const bool regular = fstat(found, &status) == 0 && S_ISREG(status.st_mode);
    std::FILE* const file = regular ? fdopen(found, "r") : nullptr;
    if (file == nullptr) close(found);
    return file;
}

/// The line that begins with "[" and the identifier, or null.
const char* find_entry(const char* buffer, std::string_view identifier) {
    for (const char* line = buffer; line != nullptr && *line != '\0';) {
        if (*line == '[' && std::strncmp(line + 1, identifier.data(), identifier.size()) == 0) return line;
        const char* end = std::strchr(line, '\n');
        line = end != nullptr ? end + 1 : nullptr;
    }
    return nullptr;
}

/// The text of the entry that begins at `line`; empty when the entry is malformed.
std::string_view entry_text(const char* line) {
    const char* begin = std::strchr(line, '=');
    if (begin == nullptr) return {};
    ++begin;
    if (*begin == '"') ++begin;
    const char* end = std::strchr(begin, '"');
    if (end == nullptr) return {};
    return {begin, static_cast<std::size_t>(end - begin)};
}

/// Fills a buffer of `kTextBufferSize` bytes.
void copy_bounded(std::string_view source, char* destination) {
    const std::string_view kept = cut_bytes(source, kTextBufferSize - 1);
    destination[kept.copy(destination, kept.size())] = '\0';
}

}  // namespace

const char* GetEnvLang() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const char* lang = std::getenv("LANG");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<LANG=%s", or_null(lang));
    return lang;
}

std::FILE* OpenStrFile(const char* name, std::uint32_t* length) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "filename=%s.", or_null(name));
    ZEL_TRACE(TRACE_LEVEL_TRACE, "filelen=%p.", static_cast<void*>(length));
    if (name == nullptr || length == nullptr) return nullptr;
    char directory[1024] = {};
    ExpandEnvironmentStrings("%ZelDir%", directory, sizeof directory);
    if (directory[0] == '\0') {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<ExpandEnvironmentStrings() failed!return NULL!");
        return nullptr;
    }
    const std::size_t path_size = strnlen(directory, sizeof directory) + std::strlen(name) + 1;
    const std::unique_ptr<char[]> path(new (std::nothrow) char[path_size]);
    if (!path) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "<txt_path malloc failed!return NULL!");
        return nullptr;
    }
    std::snprintf(path.get(), path_size, "%.*s%s", static_cast<int>(sizeof directory), directory, name);
    std::unique_ptr<std::FILE, CloseFile> file(open_regular(path.get()));
    if (!file) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "<fopen failed. Can't open the rc file!return NULL.");
        return nullptr;
    }
    struct stat status {};
    if (stat(path.get(), &status) != 0) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "<stat failed. Can't get information of rc file.return NULL.");
        return nullptr;
    }
    *length = static_cast<std::uint32_t>(status.st_size);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return fd=%p", static_cast<void*>(file.get()));
    return file.release();
}

int CPFindDestStr(const char* buffer, const char* identifier) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "pBuf=%p", static_cast<const void*>(buffer));
    ZEL_TRACE(TRACE_LEVEL_TRACE, "ID=%s", or_null(identifier));
    if (buffer == nullptr || *buffer == '\0') {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<pBuf invalide.return -1.");
        return -1;
    }
    const char* line = identifier != nullptr ? find_entry(buffer, identifier) : nullptr;
    if (line != nullptr) copy_bounded(entry_text(line), deststr);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 0.");
    return 0;
}

char* CPGetText(const char* identifier, char* destination, const char* buffer) {
    destination[0] = '\0';
    deststr[0] = '\0';
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "id=%s", or_null(identifier));
    ZEL_TRACE(TRACE_LEVEL_TRACE, "message=%p", static_cast<void*>(destination));
    ZEL_TRACE(TRACE_LEVEL_TRACE, "Buf=%p", static_cast<const void*>(buffer));
    if (CPFindDestStr(buffer, identifier) == -1) {
        msgWindow("Error", " ok ", "Read rc file failed!");
        copy_bounded(kMissingText, destination);
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<return %s.", destination);
        return destination;
    }
    copy_bounded(deststr[0] != '\0' ? deststr : kMissingText, destination);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %s.", destination);
    return destination;
}

std::string text(const char* identifier) {
    return CPGetText(identifier, ReadString, ZEL_RcFileBuf);
}

std::string format_text(std::string_view format, std::initializer_list<FormatArgument> arguments,
                        std::size_t limit) {
    std::string result;
    auto argument = arguments.begin();
    for (std::size_t i = 0; i < format.size(); ++i) {
        const char conversion = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
        const bool has_argument = argument != arguments.end();
        if (conversion == '%') {
            result += '%';
        } else if (conversion == 'd' && has_argument && std::holds_alternative<int>(*argument)) {
            result += std::to_string(std::get<int>(*argument++));
        } else if (conversion == 's' && has_argument && std::holds_alternative<std::string_view>(*argument)) {
            result += std::get<std::string_view>(*argument++);
        } else {
            result += format[i];
            continue;
        }
        ++i;  // the conversion character
    }
    result.resize(cut_bytes(result, limit).size());
    return result;
}

}  // namespace zel
