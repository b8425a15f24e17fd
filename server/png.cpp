// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "png.h"

#include <cstdint>
#include <zlib.h>

namespace
{

constexpr std::string_view signature("\x89PNG\r\n\x1a\n", 8);
constexpr std::size_t frame = 12; // of a part: its length, its name, and its sum at the end
constexpr std::size_t headerLength = 13;

std::uint32_t NumberAt(std::string_view bytes, std::size_t at)
{
    std::uint32_t number = 0;
    for (const char c : bytes.substr(at, 4))
        number = number << 8 | static_cast<unsigned char>(c);
    return number;
}

// The part at the beginning, its frame included; empty if it is cut short or damaged.
std::string_view FirstPart(std::string_view bytes)
{
    if (bytes.size() < frame || NumberAt(bytes, 0) > bytes.size() - frame)
        return {};
    const std::size_t length = NumberAt(bytes, 0);
    const std::string_view summed = bytes.substr(4, 4 + length);
    const auto sum
        = crc32(0, reinterpret_cast<const Bytef*>(summed.data()), static_cast<uInt>(summed.size()));
    return sum == NumberAt(bytes, 8 + length) ? bytes.substr(0, frame + length)
                                              : std::string_view();
}

std::string_view NameOf(std::string_view part)
{
    return part.substr(4, 4);
}

bool IsSide(std::uint32_t pixels)
{
    return pixels >= 1 && pixels <= mostPicturePixels;
}

} // namespace

const char* PngFault(std::string_view bytes)
{
    if (bytes.size() > largestPicture)
        return "it is larger than 256 KB";
    if (bytes.substr(0, signature.size()) != signature)
        return "it is not a PNG picture";
    bytes.remove_prefix(signature.size());
    std::string_view part = FirstPart(bytes);
    if (part.size() != frame + headerLength || NameOf(part) != "IHDR")
        return "it is cut short or damaged";
    if (!IsSide(NumberAt(part, 8)) || !IsSide(NumberAt(part, 12)))
        return "it does not have 1 to 1024 pixels in a row and in a column";
    while (!part.empty() && NameOf(part) != "IEND") {
        bytes.remove_prefix(part.size());
        part = FirstPart(bytes);
    }
    return part.empty() || part.size() != bytes.size() ? "it is cut short or damaged" : nullptr;
}
