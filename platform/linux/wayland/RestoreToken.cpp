#include "platform/linux/wayland/RestoreToken.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fmt/format.h>

#include "core/base/FileIO.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

fs::path stateFolder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state && *state == '/') return fs::path(state) / "glintro";
    const char* home = std::getenv("HOME");
    return fs::path(home ? home : "/nonexistent") / ".local/state/glintro";
}

// FNV-1a: a name may hold characters that no file name can.
std::uint64_t hashOf(const std::string& name) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char each : name) hash = (hash ^ static_cast<std::uint8_t>(each)) * 0x100000001b3;
    return hash;
}

// The token, then a line for each thing that the portal told of the source.
std::string textOf(const RememberedChoice& choice) {
    const SharedSource& source = choice.source;
    std::string text = fmt::format("{}\nkind {}\n", choice.token, static_cast<std::uint32_t>(source.kind));
    if (!source.id.empty()) text += fmt::format("id {}\n", source.id);
    if (source.position) text += fmt::format("position {} {}\n", source.position->x, source.position->y);
    if (source.size) text += fmt::format("size {} {}\n", source.size->width, source.size->height);
    return text;
}

void readLine(const std::string& line, SharedSource& source) {
    std::istringstream words(line);
    std::string word;
    std::uint32_t kind = 0;
    double first = 0, second = 0;
    words >> word;
    if (word == "id") std::getline(words >> std::ws, source.id);
    if (word == "kind" && words >> kind) source.kind = static_cast<SharedSource::Kind>(kind);
    if (word == "position" && words >> first >> second) source.position = Point{first, second};
    if (word == "size" && words >> first >> second) source.size = Size{first, second};
}

} // namespace

RestoreToken::RestoreToken(SharedSource::Kind kind, const std::string& name) {
    const char* word = kind == SharedSource::Kind::window ? "window" : "screen";
    file_ = stateFolder()
            / (name.empty() ? fmt::format("{}.token", word)
                            : fmt::format("{}-{:016x}.token", word, hashOf(name)));
}

std::optional<RememberedChoice> RestoreToken::load() const {
    std::ifstream file(file_);
    RememberedChoice choice;
    if (!(file >> choice.token)) return std::nullopt;
    for (std::string line; std::getline(file, line);) readLine(line, choice.source);
    return choice;
}

void RestoreToken::save(const RememberedChoice& choice) const {
    std::error_code ignored;
    if (choice.token.empty()) {
        fs::remove(file_, ignored);
        return;
    }
    fs::create_directories(file_.parent_path(), ignored);
    fs::permissions(file_.parent_path(), fs::perms::owner_all, ignored);
    // Replacing a file keeps its permissions, and those of an old one may be wide.
    fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write, ignored);
    // Half a choice is none.
    if (!writeFileAtomically(file_, textOf(choice), Readers::owner)) fs::remove(file_, ignored);
}

} // namespace glintro
