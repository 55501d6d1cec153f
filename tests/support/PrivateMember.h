#pragma once

/// Lets a test set a field that nothing in the program sets yet, though what happens then is
/// decided:
///     struct Flag { friend bool Class::*MemberOf(Flag); };
///     template struct PrivateMember<Flag, &Class::flag>;
///     object.*MemberOf(Flag{}) = true;
/// An explicit instantiation may name a private member.
template <class Tag, auto Member> struct PrivateMember
{
    friend decltype(Member) MemberOf(Tag) { return Member; }
};
