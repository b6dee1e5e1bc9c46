#include "libDrive2/sim/SimLocator.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <string_view>

#include "zel/Words.h"

namespace libDrive2 {

namespace {

using zel::marked;
using zel::words;

constexpr std::string_view kPrefix = "sim:";
constexpr std::uint32_t kMinSectorBytes = 128;
constexpr std::uint32_t kMaxSectorBytes = 65536;
/// Of SCSI drives as storage arrays format them.
constexpr std::uint32_t kMinOddSectorBytes = 512;
constexpr std::uint32_t kMaxOddSectorBytes = 4224;
// Beyond these, times would no longer fit their type.
constexpr std::uint64_t kMaxSpeed = 1000000;
constexpr std::uint64_t kMaxSlowMs = 86400000;
constexpr std::uint64_t kMaxTemperature = 200;
constexpr std::uint64_t kMaxHeatingSeconds = 86400;
constexpr std::uint64_t kMaxPercent = 100;
constexpr std::uint64_t kMaxCounter = 0xFFFFFFFF;
// The shortest field that a serial number has to fit in (ACS-4, IDENTIFY DEVICE; NVM Express, Identify).
constexpr std::size_t kMaxSerialLength = 20;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
        pieces.push_back(text.substr(start, end - start));
    pieces.push_back(text.substr(start));
    return pieces;
}

bool parseNumber(const std::string& text, std::uint64_t& value) {
    return zel::String(text).strToUInt64(value);
}

/// "A" or "A-B".
bool parseRange(const std::string& text, SectorRange& range) {
    const auto dash = text.find('-');
    if (!parseNumber(text.substr(0, dash), range.first))
        return false;
    range.last = range.first;
    return dash == std::string::npos ||
           (parseNumber(text.substr(dash + 1), range.last) && range.first <= range.last);
}

bool parseRanges(const std::string& text, SectorRanges& ranges) {
    for (const std::string& piece : split(text, '+')) {
        SectorRange range{};
        if (!parseRange(piece, range))
            return false;
        ranges.add(range);
    }
    return true;
}

/// "WHAT:NUMBER", taken apart at the last colon.
bool splitNumber(const std::string& text, std::string& what, std::uint64_t& number) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos)
        return false;
    what = text.substr(0, colon);
    return parseNumber(text.substr(colon + 1), number);
}

bool parseTransient(const std::string& text, SimOptions& options) {
    for (const std::string& piece : split(text, '+')) {
        std::string lbaText;
        std::uint64_t lba = 0;
        std::uint64_t failures = 0;
        if (!splitNumber(piece, lbaText, failures) || !parseNumber(lbaText, lba) || failures == 0)
            return false;
        options.transient[lba] = failures;
    }
    return true;
}

bool parseSlow(const std::string& text, SimOptions& options) {
    for (const std::string& piece : split(text, '+')) {
        std::string rangeText;
        SlowRange slow{};
        if (!splitNumber(piece, rangeText, slow.milliseconds) || !parseRange(rangeText, slow.range) ||
            slow.milliseconds > kMaxSlowMs)
            return false;
        options.slow.push_back(slow);
    }
    return true;
}

bool parseSectors(const std::string& text, SimOptions& options) {
    options.sectorsGiven = true;
    return parseNumber(text, options.sectors);
}

bool parseSectorSize(const std::string& text, SimOptions& options) {
    const std::uint32_t& bytes = options.sectorBytes;
    if (!zel::String(text).strToUInt(options.sectorBytes))
        return false;
    if (options.kind == SimKind::scsi && bytes >= kMinOddSectorBytes && bytes <= kMaxOddSectorBytes)
        return true;
    return std::has_single_bit(bytes) && bytes >= kMinSectorBytes && bytes <= kMaxSectorBytes;
}

bool parseProtection(const std::string& text, SimOptions& options) {
    const bool isType = text == "1" || text == "2" || text == "3";
    options.protectionType = isType ? static_cast<std::uint8_t>(text[0] - '0') : std::uint8_t{0};
    return isType;
}

bool parseMedia(const std::string& text, SimOptions& options) {
    if (options.kind == SimKind::optical)
        return options.optical.parseMedia(text);
    options.media.clear();
    for (const std::string& piece : split(text, '>')) {
        SimMediumChoice medium{piece != "none"};
        std::string name = piece;
        if (piece.find(':') != std::string::npos &&
            (!splitNumber(piece, name, medium.sectors) || medium.sectors == 0))
            return false;
        if (name != "disk" && piece != "none")
            return false;
        options.media.push_back(medium);
    }
    return true;
}

bool parseVolumes(const std::string& text, SimOptions& options) {
    options.volumes = text == "busy" ? SimVolumeState::busy : SimVolumeState::stuck;
    return text == "busy" || text == "stuck";
}

bool parsePositive(const std::string& text, std::uint64_t& value) {
    return parseNumber(text, value) && value > 0;
}

bool parseSpeed(const std::string& text, SimOptions& options) {
    return parsePositive(text, options.megabytesPerSecond) && options.megabytesPerSecond <= kMaxSpeed;
}

bool parseBeyond(const std::string& text, SimOptions& options) {
    constexpr std::array<std::pair<std::string_view, SimBeyond>, 4> kNames{{{"wrap", SimBeyond::wrap},
                                                                            {"zeros", SimBeyond::zeros},
                                                                            {"drop", SimBeyond::drop},
                                                                            {"garbage", SimBeyond::garbage}}};
    const auto* const known =
        std::find_if(kNames.begin(), kNames.end(), [&text](const auto& each) { return each.first == text; });
    if (known == kNames.end())
        return false;
    options.beyond = known->second;
    options.beyondGiven = true;
    return true;
}

bool parseTemperature(const std::string& text, SimOptions& options) {
    return parseNumber(text, options.temperature) && options.temperature <= kMaxTemperature;
}

/// "DEGREES:SECONDS".
bool parseHeating(const std::string& text, SimOptions& options) {
    std::string degrees;
    SimHeating& heating = options.heating;
    return splitNumber(text, degrees, heating.seconds) && parseNumber(degrees, heating.riseC) &&
           heating.riseC >= 1 && heating.riseC <= kMaxTemperature && heating.seconds >= 1 &&
           heating.seconds <= kMaxHeatingSeconds;
}

bool parseSmart(const std::string& text, SimOptions& options) {
    options.health.predictsFailure = text == "failing";
    return text == "failing" || text == "passing";
}

/// Small enough for every field that holds it.
bool parseCounter(const std::string& text, std::uint64_t& value) {
    return parseNumber(text, value) && value <= kMaxCounter;
}

bool parsePercent(const std::string& text, std::uint64_t& value) {
    return parseNumber(text, value) && value <= kMaxPercent;
}

bool parseArea(const std::string& text, std::optional<std::uint64_t>& sectors) {
    std::uint64_t value = 0;
    if (!parseCounter(text, value))
        return false;
    sectors = value;
    return true;
}

bool parseSense(const std::string& text, SimOptions& options) {
    options.descriptorSense = text == "descriptor";
    return text == "descriptor" || text == "fixed";
}

/// "yes" or "no".
bool parseTray(const std::string& text, SimOptions& options) {
    options.optical.tray = text != "no";
    return text == "no" || text == "yes";
}

bool takeText(const std::string& text, std::string& value) {
    value = text;
    return !text.empty();
}

struct Key {
    std::string_view name;
    const char* hint;  ///< the form of its value in help; null for a key without one
    const char* form;  ///< in sentences; a text to translate
    bool (*parse)(const std::string& value, SimOptions& options);
    SimKinds kinds = kAllSimKinds;
};

constexpr const char* kRangesForm = marked("sectors such as 1234+5000-5003");
constexpr const char* kCounterForm = marked("a whole number up to 4294967295");
constexpr const char* kPercentForm = marked("percent from 0 to 100");
constexpr const char* kNumberForm = marked("a whole number from 1 on");

constexpr SimKinds kLoadable = simKinds(SimKind::disk, SimKind::scsi, SimKind::floppy, SimKind::ufi);
constexpr SimKinds kOpticalOnly = simKinds(SimKind::optical);
constexpr SimKinds kWithSectorSizes = kAllSimKinds & ~kOpticalOnly;
constexpr SimKinds kWithSense = simKinds(SimKind::scsi, SimKind::ata, SimKind::ufi);
constexpr SimKinds kWithTemperature = simKinds(SimKind::scsi, SimKind::ata, SimKind::nvme);
constexpr SimKinds kWithDefectList = simKinds(SimKind::scsi, SimKind::ata);
constexpr SimKinds kScsiOnly = simKinds(SimKind::scsi);
constexpr SimKinds kAtaOnly = simKinds(SimKind::ata);

constexpr std::array kKeys = {
    Key{"sectors", "N", marked("a whole number"), parseSectors},
    Key{"sector-size", "N",
        marked("a power of two from 128 to 65536, or for scsi any number from 512 to 4224"), parseSectorSize,
        kWithSectorSizes},
    Key{"image", "PATH", marked("the path of a file"),
        [](auto& v, auto& o) { return takeText(v, o.imagePath); }},
    Key{"bad", "A+B-C", kRangesForm, [](auto& v, auto& o) { return parseRanges(v, o.bad); }},
    Key{"bad-write", "A+B-C", kRangesForm, [](auto& v, auto& o) { return parseRanges(v, o.badWrite); }},
    Key{"bad-seek", "A+B-C", kRangesForm, [](auto& v, auto& o) { return parseRanges(v, o.badSeek); }},
    Key{"corrupt", "A+B-C", kRangesForm, [](auto& v, auto& o) { return parseRanges(v, o.corrupt); }},
    Key{"recovered", "A+B-C", kRangesForm, [](auto& v, auto& o) { return parseRanges(v, o.recovered); }},
    Key{"transient", "LBA:TIMES", marked("LBA:TIMES, joined by +"), parseTransient},
    Key{"slow", "A-B:MS", marked("A-B:MILLISECONDS (at most 86400000), joined by +"), parseSlow},
    Key{"gone-at", "N", kNumberForm, [](auto& v, auto& o) { return parsePositive(v, o.goneAt); }},
    Key{"busy-at", "N", kNumberForm, [](auto& v, auto& o) { return parsePositive(v, o.busyAt); }},
    Key{"real-sectors", "N", kNumberForm, [](auto& v, auto& o) { return parsePositive(v, o.realSectors); },
        kWithSectorSizes},
    Key{"beyond", "wrap|zeros|drop|garbage", marked("wrap, zeros, drop or garbage"), parseBeyond,
        kWithSectorSizes},
    Key{"speed", "MB/s", marked("MB/s, a whole number from 1 to 1000000"), parseSpeed},
    Key{"real-time", nullptr, nullptr, [](auto&, auto& o) { return o.realTime = true; }},
    Key{"serial", "TEXT", marked("a text"), [](auto& v, auto& o) { return takeText(v, o.serial); }},
    Key{"media", "MEDIUM>MEDIUM...",
        marked("media such as none>disk>disk:1000 (sectors); for optical none>cdr>dvd+rw"), parseMedia,
        kLoadable | kOpticalOnly},
    Key{"state", "blank|appendable|closed|unformatted", marked("blank, appendable, closed or unformatted"),
        [](auto& v, auto& o) { return o.optical.parseState(v); }, kOpticalOnly},
    Key{"tray", "yes|no", marked("yes or no"), parseTray, kOpticalOnly},
    Key{"performance", "none|nominal", marked("none or nominal"),
        [](auto& v, auto& o) { return o.optical.parsePerformance(v); }, kOpticalOnly},
    Key{"strict", nullptr, nullptr, [](auto&, auto& o) { return o.optical.strict = true; }, kOpticalOnly},
    Key{"temperature", "N", marked("degrees Celsius from 0 to 200"), parseTemperature, kWithTemperature},
    Key{"heats", "DEGREES:SECONDS", marked("DEGREES:SECONDS, at most 200 and 86400"), parseHeating,
        kWithTemperature},
    Key{"smart", "passing|failing", marked("passing or failing"), parseSmart, kWithTemperature},
    Key{"reallocated", "N", kCounterForm,
        [](auto& v, auto& o) { return parseCounter(v, o.health.reallocated); }, kWithDefectList},
    Key{"pending", "N", kCounterForm, [](auto& v, auto& o) { return parseCounter(v, o.health.pending); },
        kAtaOnly},
    Key{"crc-errors", "N", kCounterForm, [](auto& v, auto& o) { return parseCounter(v, o.health.crcErrors); },
        kAtaOnly},
    Key{"hours", "N", kCounterForm, [](auto& v, auto& o) { return parseCounter(v, o.health.hours); },
        kWithTemperature},
    Key{"spare", "N", kPercentForm, [](auto& v, auto& o) { return parsePercent(v, o.health.sparePercent); },
        simKinds(SimKind::nvme)},
    Key{"wear", "N", kPercentForm, [](auto& v, auto& o) { return parsePercent(v, o.health.wearPercent); },
        simKinds(SimKind::nvme)},
    Key{"hpa", "SECTORS", kCounterForm, [](auto& v, auto& o) { return parseArea(v, o.health.hpaSectors); },
        kAtaOnly},
    Key{"dco", "SECTORS", kCounterForm, [](auto& v, auto& o) { return parseArea(v, o.health.dcoSectors); },
        kAtaOnly},
    Key{"inaccessible", "SECTORS", kCounterForm,
        [](auto& v, auto& o) { return parseArea(v, o.health.inaccessibleSectors); }, kAtaOnly},
    Key{"sense", "fixed|descriptor", marked("fixed or descriptor"), parseSense, kWithSense},
    Key{"protection", "1|2|3", marked("1, 2 or 3"), parseProtection, kScsiOnly},
    Key{"tags", nullptr, nullptr, [](auto&, auto& o) { return o.hostOwnsTags = true; }, kScsiOnly},
    Key{"wp", nullptr, nullptr, [](auto&, auto& o) { return o.writeProtected = true; }},
    Key{"removable", nullptr, nullptr, [](auto&, auto& o) { return o.removable = true; },
        kLoadable | kAtaOnly},
    Key{"encrypted", nullptr, nullptr, [](auto&, auto& o) { return o.encrypted = true; }},
    Key{"volumes", "busy|stuck", marked("busy or stuck"), parseVolumes},
    Key{"locked", nullptr, nullptr, [](auto&, auto& o) { return o.locked = true; }, kAtaOnly},
    Key{"emulated", nullptr, nullptr, [](auto&, auto& o) { return o.emulated = true; }, kAtaOnly},
};

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string listKeys() {
    std::string names;
    for (const Key& key : kKeys)
        names.append(names.empty() ? "" : ", ").append(key.name);
    return names;
}

std::string listKinds(SimKinds kinds) {
    std::string names;
    for (const SimKindTraits& kind : kSimKinds)
        if ((kinds & simKinds(kind.kind)) != 0)
            names.append(names.empty() ? "" : ", ").append(kind.name);
    return names;
}

/// Empty when the key took the piece's value.
std::string applyKey(const Key& key, const std::string& name, const std::optional<std::string>& value,
                     SimOptions& options) {
    const std::string shown = quoted(name);
    if ((key.kinds & simKinds(options.kind)) == 0)
        return words("{key} is only for {kinds}", {{"key", shown}, {"kinds", listKinds(key.kinds)}});
    if (key.hint == nullptr && value)
        return words("{name} takes no value", {{"name", shown}});
    if (key.hint != nullptr && !value)
        return words("{name} needs a value: {form}", {{"name", shown}, {"form", words(key.form)}});
    const std::string text = value.value_or("");
    if (key.parse(text, options))
        return {};
    return words("{text} is no value for {name}: give {values}",
                 {{"text", quoted(text)}, {"name", shown}, {"values", words(key.form)}});
}

/// Empty when the piece was understood.
std::string applyPiece(const std::string& piece, SimOptions& options) {
    const auto equals = piece.find('=');
    const std::string name = piece.substr(0, equals);
    const auto key =
        std::find_if(kKeys.begin(), kKeys.end(), [&name](const Key& known) { return known.name == name; });
    if (key == kKeys.end())
        return words("it does not know {key}; known are {keys}",
                     {{"key", quoted(name)}, {"keys", listKeys()}});
    const auto value = equals == std::string::npos ? std::nullopt : std::optional(piece.substr(equals + 1));
    return applyKey(*key, name, value, options);
}

/// Sets what the kind settles.
std::string applyKind(const std::string& name, SimOptions& options) {
    const auto* const kind = std::find_if(kSimKinds.begin(), kSimKinds.end(),
                                          [&name](const SimKindTraits& known) { return known.name == name; });
    if (kind == kSimKinds.end())
        return words("there is no kind {kind}; known are {kinds}",
                     {{"kind", quoted(name)}, {"kinds", listKinds(kAllSimKinds)}});
    options.kind = kind->kind;
    options.sectors = kind->defaultSectors;
    options.removable = kind->removable;
    options.sectorBytes = std::max(options.sectorBytes, kind->minSectorBytes);
    return {};
}

std::string checkWhole(const SimOptions& options) {
    const SimKindTraits& kind = traitsOf(options.kind);
    if (options.sectorBytes < kind.minSectorBytes)
        return words("the sectors of this kind have at least {n} bytes", {{"n", kind.minSectorBytes}});
    // Half of what 64 bits can address: sums of offsets must not wrap.
    if (options.sectors > std::numeric_limits<std::uint64_t>::max() / options.sectorBytes / 2)
        return words("it has more sectors than can be addressed");
    const auto isPrintable = [](char c) { return c >= ' ' && c <= '~'; };
    if (options.serial.size() > kMaxSerialLength || !std::ranges::all_of(options.serial, isPrintable))
        return words("a serial number has at most 20 characters, all of them ASCII");
    if (options.beyondGiven && options.realSectors == 0)
        return words("\"beyond\" needs \"real-sectors\"");
    if (options.kind == SimKind::optical) {
        const std::string problem =
            options.optical.check(!options.imagePath.empty(), options.sectorsGiven, options.sectors);
        if (!problem.empty())
            return problem;
    }
    // The size of a backing file is known only when it is opened.
    return options.imagePath.empty() || options.sectorsGiven ? checkSize(options) : "";
}

}  // namespace

std::string checkSize(const SimOptions& options) {
    if (options.sectors > traitsOf(options.kind).maxSectors)
        return words("it has more sectors than can be addressed");
    if (options.sectors == 0 && options.kind != SimKind::disk)
        return words("it has no sectors");
    if (options.realSectors > options.sectors)
        return words("it has more real sectors than it pretends to have");
    for (const SimMediumChoice& medium : options.media)
        if (medium.sectors > options.sectors)
            return words("a medium of it has more sectors than \"sectors\" allows");
    // A fault beyond the end would never be met: surely a mistake.
    const auto beyond = [&options](std::uint64_t lba) {
        return lba >= options.sectors ? words("sector {lba} lies beyond its end", {{"lba", lba}})
                                      : std::string();
    };
    for (const SectorRanges* faults :
         {&options.bad, &options.badWrite, &options.badSeek, &options.corrupt, &options.recovered})
        for (const SectorRange& range : faults->ranges())
            if (range.last >= options.sectors)
                return beyond(range.last);
    for (const SlowRange& slow : options.slow)
        if (slow.range.last >= options.sectors)
            return beyond(slow.range.last);
    return options.transient.empty() ? "" : beyond(options.transient.rbegin()->first);
}

zel::String describeSimLocators() {
    std::string kinds;
    for (const SimKindTraits& kind : kSimKinds)
        kinds += " " + std::string(kind.name);
    std::string keys;
    std::string opticalKeys;
    for (const Key& key : kKeys)
        (key.kinds == kOpticalOnly ? opticalKeys : keys) +=
            " " + std::string(key.name) + (key.hint != nullptr ? std::string("=") + key.hint : "");
    std::string media = " none";
    for (const OpticalMediaType& type : opticalMediaTypes())
        media += " " + std::string(type.name);
    return words("Kinds:") + kinds + "\n" + words("Keys:") + keys + "\n" + words("Of optical ones:") +
           opticalKeys + "\n" + words("Media (of others than optical ones: none disk disk:SECTORS):") + media;
}

bool isSimLocator(const zel::String& locator) {
    return locator.utf8().starts_with(kPrefix);
}

std::optional<SimOptions> parseSimLocator(const zel::String& locator, zel::String& error) {
    const std::vector<std::string> pieces = split(locator.utf8().substr(kPrefix.size()), ',');
    SimOptions options;
    std::string problem = applyKind(pieces.front(), options);
    for (std::size_t i = 1; i < pieces.size() && problem.empty(); ++i)
        problem = applyPiece(pieces[i], options);
    if (options.kind == SimKind::optical && !options.sectorsGiven)
        options.sectors = options.optical.largestSectors();
    if (problem.empty())
        problem = checkWhole(options);
    if (problem.empty())
        return options;
    error = words("the simulated drive {drive} cannot be made: {reason}",
                  {{"drive", quoted(locator.utf8())}, {"reason", problem}});
    return std::nullopt;
}

}  // namespace libDrive2
