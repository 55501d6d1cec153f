#include "CodeText.h"
#include "DesktopAppEntries.h"
#include "DesktopAppGuidList.h"
#include "DesktopAppGuids.h"
#include "GuidListModel.h"
#include "RandomRun.h"
#include "RandomTexts.h"
#include "RedirectedRoot.h"
#include "Shrinking.h"

namespace
{
using namespace std::string_literals;

std::wstring WholeList()
{
    const std::string narrow = DesktopAppGuidList;
    return {narrow.begin(), narrow.end()};
}

/// A value of DesktopAppGUIDs and what is done with it.
struct GuidListCase
{
    std::wstring value;
    std::wstring guids;
    std::vector<bool> updates; ///< in turn: an update, or a removal
    bool inRegistry = false;   ///< as two users' property bags, with the whole list
};

/// Updates and removals do what the model does, and what others wrote outlives them.
class GuidLists
{
public:
    using Case = GuidListCase;

    static Case Generate(Random& random)
    {
        Case result;
        result.inRegistry = random.OneIn(100);
        result.guids =
            random.Of({L""s, L"G"s, L"aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee,AAAAAAAA"s, L" g "s});
        for (std::size_t count = random.Below(random.OneIn(20) ? 30 : 5); count != 0; --count)
        {
            result.value += Entry(random) + (count > 1 || random.OneIn(4) ? L"*" : L"");
        }
        for (std::size_t count = random.Between(1, 6); count != 0; --count)
        {
            result.updates.push_back(random.OneIn(2));
        }
        return result;
    }

    std::optional<std::string> Difference(const Case& tried) const
    {
        return tried.inRegistry ? RegistryDifference(tried) : TextDifference(tried);
    }

    static std::vector<Case> Simpler(const Case& tried)
    {
        std::vector<Case> candidates;
        AddPlain(candidates, tried, &Case::inRegistry, false);
        AddWith(candidates, tried, &Case::updates, Shorter(tried.updates));
        AddWith(candidates, tried, &Case::guids, Shorter(tried.guids));
        AddWith(candidates, tried, &Case::value, ::Simpler(tried.value, L'a'));
        return candidates;
    }

    static std::string Text(const Case& tried)
    {
        std::string code = "std::wstring value = " + CodeText(tried.value) + ";";
        std::wstring value = tried.value;
        const std::wstring guids = tried.inRegistry ? WholeList() : tried.guids;
        const std::string list =
            tried.inRegistry ? "std::wstring(whole list)" : CodeText(tried.guids);
        for (const bool isUpdate : tried.updates)
        {
            if (isUpdate)
            {
                value = GuidListModel::Updated(value, guids);
                code += "\nvalue = DesktopAppEntries::Update(value, " + list + ");";
            }
            else
            {
                value = GuidListModel::Removed(value).value_or(value);
                code += "\nvalue = DesktopAppEntries::Remove(value).value_or(value);";
            }
            code += "\nEXPECT_EQ(value, " + CodeText(value) + ");";
        }
        return code + (tried.inRegistry ? "\n(in the registry)" : "");
    }

private:
    static std::wstring Entry(Random& random)
    {
        static const std::vector<std::wstring> entries = {
            L"6.0:A,B", L"7.0:old",    L"7.0:",   L"7.0",    L":7.0",       L"7.0:a:b",
            L" 7.0:x",  L"7.0 :x",     L"7.00:x", L"07.0:x", L"\t7.0:x",    L"",
            L" ",       L"  ",         L"\t",     L"8.0:C ", L":",          L"::",
            L"7.0::",   L"\uFF17.0:x", L"\u00A0", L"\r\n",   L"7.0:\u0416", L"\u30007.0:x"};
        switch (random.Below(8))
        {
        case 0:
            return AnyText(random, random.Below(6));
        case 1:
            return NearMiss(random, L"7.0:old");
        default:
            return random.Of(entries);
        }
    }

    static std::optional<std::string> TextDifference(const Case& tried)
    {
        std::wstring value = tried.value;
        const std::vector<std::wstring> others = GuidListModel::OthersEntries(value);
        for (const bool isUpdate : tried.updates)
        {
            const std::optional<std::wstring> expected =
                isUpdate ? GuidListModel::Updated(value, tried.guids)
                         : GuidListModel::Removed(value);
            const std::optional<std::wstring> changed =
                isUpdate ? DesktopAppEntries::Update(value, tried.guids)
                         : DesktopAppEntries::Remove(value);
            if (changed != expected)
            {
                return Named(changed) + ", not " + Named(expected);
            }
            if (isUpdate && DesktopAppEntries::Update(*changed, tried.guids) != *changed)
            {
                return "a second update changes " + CodeText(*changed);
            }
            value = changed.value_or(value);
            if (GuidListModel::OthersEntries(value) != others)
            {
                return "others had " + CodeText(others) + " and now have " +
                       CodeText(GuidListModel::OthersEntries(value));
            }
        }
        return std::nullopt;
    }

    std::optional<std::string> RegistryDifference(const Case& tried) const
    {
        const RedirectedRoot users(HKEY_USERS);
        const std::wstring whole = WholeList();
        const std::wstring bag = L"\\Software\\Classes\\Local Settings\\Printers\\PropertyBags"
                                 L"\\Manufacturers\\Palvo";
        users.SetString(L".DEFAULT" + bag, L"DesktopAppGUIDs", tried.value);
        users.CreateKey(L"S-1-5-21-1_Classes");
        // A value ends at its first zero; AnyText makes none.
        std::wstring value = tried.value;
        std::optional<std::wstring> newValue; // of the hive that had none
        for (const bool isUpdate : tried.updates)
        {
            if (isUpdate)
            {
                UpdateDesktopAppGuids();
                value = GuidListModel::Updated(value, whole);
                newValue = GuidListModel::Updated(newValue.value_or(L""), whole);
            }
            else
            {
                RemoveDesktopAppGuids();
                value = GuidListModel::Removed(value).value_or(value);
                newValue =
                    newValue ? GuidListModel::Removed(*newValue).value_or(*newValue) : newValue;
            }
            const std::wstring stored = users.String(L".DEFAULT" + bag, L"DesktopAppGUIDs");
            if (stored != value)
            {
                return CodeText(stored) + " is stored, not " + CodeText(value);
            }
            if (users.HasKey(L"S-1-5-21-1_Classes" + bag) != newValue.has_value() ||
                (newValue &&
                 users.String(L"S-1-5-21-1_Classes" + bag, L"DesktopAppGUIDs") != *newValue))
            {
                return "the hive that had no property bag does not hold " + Named(newValue);
            }
        }
        return std::nullopt;
    }

    static std::string Named(const std::optional<std::wstring>& value)
    {
        return value ? CodeText(*value) : "nothing";
    }
};

TEST(RandomTest, GuidListsChangeAsInTheModelAndOthersEntriesOutliveIt)
{
    CompareRandomCases<GuidLists>("GUID lists", 10'000);
}
} // namespace
