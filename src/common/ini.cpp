#include "common/ini.h"

#include "common/file_in_place.h"
#include "common/log.h"
#include "common/text.h"
#include "common/write_guard.h"

namespace tb {
namespace {

constexpr std::size_t npos = std::string::npos;

std::string StripValueQuotes(std::string_view v) {
    if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front())
        return std::string(v.substr(1, v.size() - 2));
    return std::string(v);
}

std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> out;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' || text[i] == '\n') {
            out.push_back(text.substr(start, i - start));
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
            start = i + 1;
        }
    }
    if (start < text.size()) out.push_back(text.substr(start));
    return out;
}

}  // namespace

IniDocument IniDocument::Parse(std::string_view bytes) {
    IniDocument doc;
    doc.encoding_ = DetectEncoding(bytes);
    const std::string text = DecodeText(bytes, doc.encoding_);
    bool inSection = false;  // lines before the first section are kept but never read as keys
    for (std::string_view raw : SplitLines(text)) {
        Line line;
        line.raw = std::string(raw);
        const std::string_view t = TrimSpace(raw);
        if (!t.empty() && t.front() == '[') {
            const auto close = t.find(']');
            line.kind = Kind::Section;
            line.text = std::string(TrimSpace(t.substr(1, close == npos ? npos : close - 1)));
            inSection = true;
        } else if (inSection && !t.empty() && t.front() != ';') {
            line.kind = Kind::Key;
            const auto eq = t.find('=');
            line.hasEquals = eq != npos;
            line.text = std::string(TrimSpace(t.substr(0, eq)));
            if (eq != npos) line.value = std::string(TrimSpace(t.substr(eq + 1)));
        }
        doc.lines_.push_back(std::move(line));
    }
    return doc;
}

IniDocument IniDocument::Load(const std::filesystem::path& file) {
    const auto bytes = ReadFileCompleted(file);
    return bytes ? Parse(*bytes) : IniDocument{};
}

std::string IniDocument::Serialize() const {
    std::string text;
    for (const auto& l : lines_) {
        if (!l.raw.empty() || l.kind == Kind::Other) {
            text += l.raw;
        } else if (l.kind == Kind::Section) {
            text += "[" + l.text + "]";
        } else {
            text += l.text;
            if (l.hasEquals) text += "=" + l.value;
        }
        text += "\r\n";
    }
    return EncodeText(text, encoding_);
}

bool IniDocument::Save(const std::filesystem::path& file) const {
    // An ini write never lands on a file the run reads or writes as something else (a /config
    // file, a plant database, the extract, the log), whatever name led here.
    if (auto other = ConflictingRunPath(FollowLinks(file), RunPathRole::Settings)) {
        LogLine("Settings are not written into " + file.string() + ": it is " + *other + ".");
        return false;
    }
    return WriteFileInPlace(file, Serialize());
}

std::size_t IniDocument::FindSection(std::string_view section) const {
    for (std::size_t i = 0; i < lines_.size(); ++i)
        if (lines_[i].kind == Kind::Section && IEquals(lines_[i].text, section)) return i;
    return npos;
}

std::size_t IniDocument::SectionEnd(std::size_t header) const {
    std::size_t i = header + 1;
    while (i < lines_.size() && lines_[i].kind != Kind::Section) ++i;
    return i;
}

std::size_t IniDocument::FindKey(std::size_t header, std::string_view key) const {
    const std::size_t end = SectionEnd(header);
    for (std::size_t i = header + 1; i < end; ++i)
        if (lines_[i].kind == Kind::Key && IEquals(lines_[i].text, key)) return i;
    return npos;
}

bool IniDocument::HasSection(std::string_view section) const {
    return FindSection(section) != npos;
}

std::optional<std::string> IniDocument::Get(std::string_view section, std::string_view key) const {
    const auto header = FindSection(section);
    if (header == npos) return std::nullopt;
    const auto at = FindKey(header, key);
    if (at == npos) return std::nullopt;
    return StripValueQuotes(lines_[at].value);
}

void IniDocument::Set(std::string_view section, std::string_view key, std::string_view value) {
    auto header = FindSection(section);
    if (header == npos) {
        // A blank line parts a new section from what is above it.
        const bool blankAbove = !lines_.empty() && lines_.back().kind == Kind::Other &&
                                TrimSpace(lines_.back().raw).empty();
        if (!lines_.empty() && !blankAbove) lines_.push_back(Line{});
        lines_.push_back(Line{Kind::Section, {}, std::string(section), {}, true});
        header = lines_.size() - 1;
    }
    const auto at = FindKey(header, key);
    if (at != npos) {
        lines_[at].value = std::string(value);
        lines_[at].hasEquals = true;
        lines_[at].raw.clear();
        return;
    }
    // Behind the last non-blank line of the section.
    std::size_t insert = SectionEnd(header);
    while (insert > header + 1 && lines_[insert - 1].kind == Kind::Other &&
           TrimSpace(lines_[insert - 1].raw).empty())
        --insert;
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(insert),
                  Line{Kind::Key, {}, std::string(key), std::string(value), true});
}

bool IniDocument::RemoveKey(std::string_view section, std::string_view key) {
    const auto header = FindSection(section);
    if (header == npos) return false;
    const auto at = FindKey(header, key);
    if (at == npos) return false;
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(at));
    return true;
}

bool IniDocument::RemoveSection(std::string_view section) {
    const auto header = FindSection(section);
    if (header == npos) return false;
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(header),
                 lines_.begin() + static_cast<std::ptrdiff_t>(SectionEnd(header)));
    return true;
}

std::vector<std::string> IniDocument::SectionNames() const {
    std::vector<std::string> out;
    for (const auto& l : lines_)
        if (l.kind == Kind::Section) out.push_back(l.text);
    return out;
}

std::vector<std::string> IniDocument::Keys(std::string_view section) const {
    std::vector<std::string> out;
    for (auto& [k, v] : Entries(section)) out.push_back(k);
    return out;
}

std::vector<std::pair<std::string, std::string>> IniDocument::Entries(
    std::string_view section) const {
    std::vector<std::pair<std::string, std::string>> out;
    const auto header = FindSection(section);
    if (header == npos) return out;
    const auto end = SectionEnd(header);
    for (std::size_t i = header + 1; i < end; ++i)
        if (lines_[i].kind == Kind::Key)
            out.emplace_back(lines_[i].text, StripValueQuotes(lines_[i].value));
    return out;
}

std::string IniRead(const std::filesystem::path& file, std::string_view section,
                    std::string_view key, std::string_view defaultValue) {
    auto value = IniDocument::Load(file).Get(section, key);
    return value ? *value : std::string(defaultValue);
}

bool IniWrite(const std::filesystem::path& file, std::string_view section,
              const std::optional<std::string>& key, const std::optional<std::string>& value) {
    IniDocument doc = IniDocument::Load(file);
    if (!key) {
        if (!doc.RemoveSection(section)) return true;
    } else if (!value) {
        if (!doc.RemoveKey(section, *key)) return true;
    } else {
        doc.Set(section, *key, *value);
    }
    return doc.Save(file);
}

std::vector<std::string> IniSectionNames(const std::filesystem::path& file) {
    return IniDocument::Load(file).SectionNames();
}

std::vector<std::string> IniSectionKeys(const std::filesystem::path& file,
                                        std::string_view section) {
    return IniDocument::Load(file).Keys(section);
}

bool IniFlag(const std::filesystem::path& file, std::string_view section, std::string_view key,
             std::string_view defaultValue) {
    return LeadingNumber(IniRead(file, section, key, defaultValue)) == 1;
}

}  // namespace tb
