#pragma once

#include <CLI/CLI.hpp>

namespace vantry::cli {

/// Stands before each word that follows --. CLI11 ends the list of a command's words at --, so
/// CommandLine puts this mark in its place, and WithoutMark removes it.
inline constexpr char kPlainMark = '\x01';

/// Accepts the numbers from `least` to `most`.
CLI::Validator Between(double least, double most);
/// Removes kPlainMark from a word.
CLI::Validator WithoutMark();

}  // namespace vantry::cli
