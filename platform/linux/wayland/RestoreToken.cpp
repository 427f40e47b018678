#include "platform/linux/wayland/RestoreToken.h"

#include <cstdlib>
#include <fstream>
#include <system_error>

namespace glintro {
namespace {

namespace fs = std::filesystem;

fs::path stateFolder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state && *state == '/') return fs::path(state) / "glintro";
    const char* home = std::getenv("HOME");
    return fs::path(home ? home : "/nonexistent") / ".local/state/glintro";
}

} // namespace

RestoreToken::RestoreToken(const std::string& kind) : file_(stateFolder() / (kind + ".token")) {}

std::string RestoreToken::load() const {
    std::string token;
    std::ifstream(file_) >> token;
    return token;
}

void RestoreToken::save(const std::string& token) const {
    std::error_code ignored;
    if (token.empty()) {
        fs::remove(file_, ignored);
        return;
    }
    fs::create_directories(file_.parent_path(), ignored);
    std::ofstream(file_, std::ios::trunc) << token << '\n';
    // Whoever holds it may see the screen.
    fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write, ignored);
}

} // namespace glintro
