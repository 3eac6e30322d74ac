#pragma once
// The fixed parts of both catalogs, as data: categories, entries, groups and
// generator entries in the order the catalogs list them. CIFMain turns them
// into descriptor dictionaries (CIFMainCatalog.cpp).

#include <cstdint>
#include <span>

namespace cif::catalog {

// How a number is stored in a descriptor: absent, as a double, or as an int.
enum class NumberForm : std::uint8_t { None, Float, Integer };

// CIFTag: absent, an int, or the int's decimal string.
struct Tag {
    enum class Form : std::uint8_t { None, Number, String } form = Form::None;
    int value = 0;
};
constexpr Tag numberTag(int v) {
    return {Tag::Form::Number, v};
}
constexpr Tag stringTag(int v) {
    return {Tag::Form::String, v};
}

// CIFFilterDefValue1.. (three or four values) and CIFFilterMaxValue.
struct Defaults {
    NumberForm form = NumberForm::None;
    int count = 0;
    double values[4] = {};
};
constexpr Defaults floats(double a, double b, double c) {
    return {NumberForm::Float, 3, {a, b, c, 0}};
}
constexpr Defaults floats(double a, double b, double c, double d) {
    return {NumberForm::Float, 4, {a, b, c, d}};
}
constexpr Defaults ints(int a, int b, int c) {
    return {NumberForm::Integer, 3, {double(a), double(b), double(c), 0}};
}

struct Max {
    NumberForm form = NumberForm::None;
    double value = 0;
};
constexpr Max floatMax(double v) {
    return {NumberForm::Float, v};
}
constexpr Max intMax(int v) {
    return {NumberForm::Integer, double(v)};
}

// Entry flags.
enum : std::uint8_t {
    kNewerOnly = 1,    // only on the newer platform
    kOlderOnly = 2,    // only on the older platform
    kLocalised = 4,    // the name is stored already localised
    kMultiPoints = 8,  // several point inputs edited together
};

struct GroupRow;

struct EntryRow {
    const char* name;
    const char* identifier;
    const char* icon;  // null for group entries
    int style = 0;
    Tag tag{};
    Defaults defaults{};
    Max max{};
    std::uint8_t flags = 0;
    void (*touchClass)() = nullptr;   // registers a plug-in filter class first
    const GroupRow* group = nullptr;  // a group entry: its members
};

struct GroupRow {
    int groupTag;
    std::span<const EntryRow> members;
};

struct CategoryRow {
    const char* name;
    std::span<const EntryRow> entries;
    bool sorted;
};

// The eleven fixed categories but Composite Operations, which comes from the
// registry; in catalog order.
std::span<const CategoryRow> fixedFilterCategories();

// Composite Operations: the category and its group entry.
inline constexpr const char* kCompositeCategoryName = "Composite Operations";
inline constexpr const char* kCompositeGroupName = "Composite Filters";
inline constexpr const char* kCompositeGroupIdentifier = "CompositeFilters";
inline constexpr int kCompositeGroupTag = 2;
inline constexpr int kCompositeTag = 70;
inline constexpr const char* kOtherFilterIcon = "OtherFilterIcon";
inline constexpr int kDiscoveredTag = 50;
inline constexpr const char* kOtherFiltersCategory = "Other Filters";
inline constexpr const char* kThirdPartyCategory = "3rd Party";

// The newer platform: AppKit version numbers from this one on.
inline constexpr double kNewerPlatformVersion = 949.0;

struct GeneratorRow {
    const char* name;
    const char* identifier;
    const char* icon;
    int tag;
    int bits;  // the colour-controls selector
};

struct GeneratorCategoryRow {
    const char* name;
    std::span<const GeneratorRow> entries;
};

std::span<const GeneratorCategoryRow> generatorCategories();

// Values every generator entry shares.
inline constexpr int kGeneratorDefault = 0;
inline constexpr double kGeneratorMax = 500.0;
inline constexpr int kGeneratorStyle = 0;

}  // namespace cif::catalog
