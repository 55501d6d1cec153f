#pragma once

#include <cstddef>
#include <vector>

/// How many bytes after its object's start each of the fields begins. PrivateMember tells of
/// private ones.
template <class Object, class... Types>
std::vector<std::size_t> OffsetsOf(const Object& object, Types Object::*... fields)
{
    const auto* start = reinterpret_cast<const char*>(&object);
    return {static_cast<std::size_t>(reinterpret_cast<const char*>(&(object.*fields)) - start)...};
}
