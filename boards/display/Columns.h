#pragma once

#include <string>

// Texts on a screen: how wide they are, and how they are made to fit. Each character takes one
// column.
namespace kvo::boards {

std::size_t ColumnsOf(const std::string& text);

// The begin of `text`, as much of it as there is room for.
std::string CutTo(const std::string& text, std::size_t columns);

// The same, with dots that tell it was cut.
std::string Shortened(const std::string& text, std::size_t columns);

// The end of `text`, with dots if it was cut: a port's name differs from others there.
std::string EndOf(const std::string& text, std::size_t columns);

std::string Padded(const std::string& text, std::size_t columns);
std::string PaddedBefore(const std::string& text, std::size_t columns);

}  // namespace kvo::boards
