#pragma once
// The wall around a worker in words.

#include "worker/Protocol.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace tavolin::worker {

/// The parts of @p reply's wall, in one line; or, with @p isLacking, those that it lacks (empty
/// where it is whole).
[[nodiscard]] inline std::string wallParts(const Reply &reply, bool isLacking = false)
{
    constexpr std::array<std::pair<WallPart, std::string_view>, 7> NAMES{{
        {WallPart::Memory, "memory"},
        {WallPart::ProcessorTime, "processor time"},
        {WallPart::Descriptors, "descriptors"},
        {WallPart::NoCoreFile, "no core file"},
        {WallPart::NoNewPrivileges, "no new privileges"},
        {WallPart::Landlock, "Landlock"},
        {WallPart::Seccomp, "seccomp"},
    }};
    std::string line;
    for (const auto &[part, name] : NAMES) {
        const bool stands = (reply.wall & static_cast<std::uint32_t>(part)) != 0;
        // A sanitizer reserves more memory than any limit that makes sense.
        if (stands == isLacking || (isLacking && IS_SANITIZED && part == WallPart::Memory))
            continue;
        line += (line.empty() ? "" : ", ") + std::string(name);
        if (part == WallPart::Landlock && stands)
            line += ' ' + std::to_string(reply.landlock);
    }
    return line;
}

} // namespace tavolin::worker
