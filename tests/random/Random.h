#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

/// Random numbers that are the same on every machine for the same seed.
class Random
{
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    /// Any number (SplitMix64).
    std::uint64_t Next()
    {
        state += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }

    /// From 0 up to `bound`, which is not reached and not 0.
    std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(Next() % bound); }
    std::size_t Between(std::size_t least, std::size_t most)
    {
        return least + Below(most - least + 1);
    }
    bool OneIn(std::size_t count) { return Below(count) == 0; }

    template <class Value> const Value& Of(const std::vector<Value>& values)
    {
        return values[Below(values.size())];
    }
    template <class Value> Value Of(std::initializer_list<Value> values)
    {
        return *(values.begin() + Below(values.size()));
    }

    /// Up to `most` of it, mostly few, now and then one of the lengths that are given.
    std::size_t Length(std::size_t most, std::initializer_list<std::size_t> edges)
    {
        if (OneIn(3))
        {
            return Of(edges);
        }
        return Below(OneIn(4) ? most + 1 : most / 8 + 1);
    }

private:
    std::uint64_t state;
};
