#pragma once

namespace glintro {

// The general error messages about movies, for causes that have no message of their own.
inline constexpr const char* kCannotOpenMovie = "The movie can’t be opened: it is damaged or not a movie.";
inline constexpr const char* kCannotReadMovie = "Couldn’t read the recording.";
inline constexpr const char* kCannotDecodeSound = "The recording’s sound can’t be decoded.";
inline constexpr const char* kCannotStartMovie = "Couldn’t start writing.";
inline constexpr const char* kCannotEncodeMovie = "Couldn’t encode the movie.";
inline constexpr const char* kCannotWriteMovie = "Couldn’t write the movie.";

} // namespace glintro
