#pragma once

#include <string>

namespace glintro {

// What a program wrote into a property of its window, as text that is UTF-8 for certain: up to the first NUL;
// without the torn character at its end when it was cut off; read as Latin-1, the X server's own encoding,
// when it is no UTF-8.
std::string textOfX11(const std::string& bytes);

} // namespace glintro
