#pragma once

#include <filesystem>
#include <string>

namespace glintro {

// What lets the portal give again what the user has once chosen, without asking; kept in a file of the user's
// state folder. A token is good for one use: the portal hands out the next one each time.
class RestoreToken {
  public:
    // `kind` names the file: "screen" or "window".
    explicit RestoreToken(const std::string& kind);

    std::string load() const; // empty when there is none
    // Without a word when it cannot be written: the portal then asks again the next time.
    void save(const std::string& token) const;

  private:
    std::filesystem::path file_;
};

} // namespace glintro
