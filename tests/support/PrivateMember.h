#pragma once

/// Lets a test set a field that nothing in the program sets yet, though what happens then is
/// decided:
///     struct Flag { friend bool Class::*MemberOf(Flag); };
///     template struct PrivateMember<Flag, &Class::flag>;
///     object.*MemberOf(Flag{}) = true;
/// An explicit instantiation may name a private member. PRIVATE_FIELD writes the first two lines.
template <class Tag, auto Member> struct PrivateMember
{
    friend decltype(Member) MemberOf(Tag) { return Member; }
};

/// `object.*MemberOf(Tag{})` is the private field `Name` of a `Class`, of the type `Type`.
#define PRIVATE_FIELD(Tag, Class, Type, Name)                                                      \
    struct Tag                                                                                     \
    {                                                                                              \
        friend Type Class::*MemberOf(Tag);                                                         \
    };                                                                                             \
    template struct PrivateMember<Tag, &Class::Name>

/// As PrivateMember, with a type that the compiler finds out.
template <class Tag, auto Member> struct HiddenMember
{
    friend auto MemberOf(Tag) { return Member; }
};

/// As PRIVATE_FIELD, where the field's type or its class is private too and cannot be written here.
#define HIDDEN_FIELD(Tag, Class, Name)                                                             \
    struct Tag                                                                                     \
    {                                                                                              \
        friend auto MemberOf(Tag);                                                                 \
    };                                                                                             \
    template struct HiddenMember<Tag, &Class::Name>
