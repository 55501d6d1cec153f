#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

// Ways to make a value simpler. Each way makes it shorter or gives it fewer elements that are not
// plain, so that shrinking comes to an end.

/// `values` (a text or a list) without one part of it: first halves, then ever smaller parts. Of
/// a long one the smallest parts are not tried before it has become shorter.
template <class Values> std::vector<Values> Shorter(const Values& values)
{
    std::vector<Values> candidates;
    const std::size_t size = values.size();
    const std::size_t smallest = size <= 256 ? 1 : size / 64;
    for (std::size_t part = size; part >= smallest && part != 0; part /= 2)
    {
        for (std::size_t start = 0; start < size; start += part)
        {
            const std::size_t end = std::min(start + part, size);
            Values candidate(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(start));
            candidate.insert(candidate.end(), values.begin() + static_cast<std::ptrdiff_t>(end),
                             values.end());
            candidates.push_back(candidate);
        }
    }
    return candidates;
}

/// The same, and `values` with one part, and with one element, made plain.
template <class Values>
std::vector<Values> Simpler(const Values& values, typename Values::value_type plain)
{
    std::vector<Values> candidates = Shorter(values);
    const std::size_t size = values.size();
    const std::size_t smallest = size <= 256 ? 1 : size / 64;
    for (std::size_t part = size; part >= smallest && part != 0; part /= 2)
    {
        for (std::size_t start = 0; start < size; start += part)
        {
            Values candidate = values;
            const std::size_t end = std::min(start + part, size);
            std::fill(candidate.begin() + static_cast<std::ptrdiff_t>(start),
                      candidate.begin() + static_cast<std::ptrdiff_t>(end), plain);
            if (candidate != values)
            {
                candidates.push_back(candidate);
            }
        }
    }
    return candidates;
}

/// Smaller numbers, the smallest first.
template <class Number> std::vector<Number> Smaller(Number number)
{
    if (number == 0)
    {
        return {};
    }
    std::vector<Number> candidates = {0};
    for (const Number candidate :
         {static_cast<Number>(number / 2), static_cast<Number>(number - 1)})
    {
        if (candidate != 0)
        {
            candidates.push_back(candidate);
        }
    }
    return candidates;
}

/// Adds `tried` with each of `values` in the place of its `member`.
template <class Case, class Member, class Values>
void AddWith(std::vector<Case>& candidates, const Case& tried, Member member, const Values& values)
{
    for (const auto& value : values)
    {
        candidates.push_back(tried);
        candidates.back().*member = value;
    }
}

/// Adds `tried` with the plain value for its `member`, unless it has it already.
template <class Case, class Member, class Value>
void AddPlain(std::vector<Case>& candidates, const Case& tried, Member member, const Value& plain)
{
    if (tried.*member != plain)
    {
        candidates.push_back(tried);
        candidates.back().*member = plain;
    }
}
