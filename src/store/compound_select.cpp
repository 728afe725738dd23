#include "store/compound_select.h"

#include <cstddef>

#include "common/text.h"

namespace tb::store {

namespace {

constexpr std::size_t npos = std::string_view::npos;

struct Token {
    std::size_t begin = 0, end = 0;
    char kind = 'o';  // 'w' word, '(' and ')', 'o' anything else
};

bool IsWordChar(char c) {
    const auto u = static_cast<unsigned char>(c);
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_' ||
           u == '$' || u >= 0x80;
}

// Tokens of the statement; strings, quoted names and comments are single tokens or skipped,
// so a keyword inside them is never seen.
std::vector<Token> Tokenize(std::string_view s) {
    std::vector<Token> out;
    std::size_t i = 0;
    auto skipTo = [&](std::size_t from, char close) {
        std::size_t j = from;
        while (j < s.size()) {
            if (s[j] == close) {
                if (close != ']' && j + 1 < s.size() && s[j + 1] == close) {  // doubled quote
                    j += 2;
                    continue;
                }
                return j + 1;
            }
            ++j;
        }
        return s.size();
    };
    while (i < s.size()) {
        const char c = s[i];
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            ++i;
        } else if (c == '-' && i + 1 < s.size() && s[i + 1] == '-') {
            const auto nl = s.find('\n', i);
            i = nl == npos ? s.size() : nl + 1;
        } else if (c == '/' && i + 1 < s.size() && s[i + 1] == '*') {
            const auto e = s.find("*/", i + 2);
            i = e == npos ? s.size() : e + 2;
        } else if (c == '\'' || c == '"' || c == '`' || c == '[') {
            const std::size_t e = skipTo(i + 1, c == '[' ? ']' : c);
            out.push_back({i, e, 'o'});
            i = e;
        } else if (IsWordChar(c)) {
            std::size_t e = i;
            while (e < s.size() && IsWordChar(s[e])) ++e;
            out.push_back({i, e, 'w'});
            i = e;
        } else {
            out.push_back({i, i + 1, (c == '(' || c == ')') ? c : 'o'});
            ++i;
        }
    }
    return out;
}

struct Region {
    std::size_t begin = 0, end = 0;
    bool top = false;
    std::vector<std::size_t> children;                          // nested regions, in order
    std::vector<std::pair<std::size_t, std::size_t>> ops;       // compound operators
    std::vector<std::size_t> tails;                             // ORDER BY / LIMIT starts
    std::vector<std::pair<std::size_t, std::size_t>> branches;  // filled for compounds
    std::size_t compoundIndex = npos;
};

class Renderer {
  public:
    Renderer(std::string_view sql, std::vector<Region> regions)
        : sql_(sql), regions_(std::move(regions)) {}

    std::vector<std::size_t> Compounds() const {
        std::vector<std::size_t> out;
        for (std::size_t i = 0; i < regions_.size(); ++i)
            if (!regions_[i].ops.empty()) out.push_back(i);
        return out;
    }
    const Region& region(std::size_t i) const { return regions_[i]; }

    std::string Render(const std::vector<std::size_t>& choices) const {
        return RenderRegion(0, choices);
    }

  private:
    std::string RenderSpan(std::size_t b, std::size_t e, const Region& r,
                           const std::vector<std::size_t>& choices) const {
        std::string out;
        std::size_t pos = b;
        for (std::size_t c : r.children) {
            const Region& child = regions_[c];
            if (child.begin < b || child.end > e) continue;
            out.append(sql_.substr(pos, child.begin - pos));
            out += RenderRegion(c, choices);
            pos = child.end;
        }
        out.append(sql_.substr(pos, e - pos));
        return out;
    }

    std::string RenderRegion(std::size_t index, const std::vector<std::size_t>& choices) const {
        const Region& r = regions_[index];
        if (r.ops.empty()) return RenderSpan(r.begin, r.end, r, choices);
        const std::size_t k = choices[r.compoundIndex];
        const auto& chosen = r.branches[k];
        std::string picked = RenderSpan(chosen.first, chosen.second, r, choices);
        if (r.top || k == 0) return picked;
        const auto& first = r.branches[0];
        return RenderSpan(first.first, first.second, r, choices) + " UNION ALL " + picked;
    }

    std::string_view sql_;
    std::vector<Region> regions_;
};

}  // namespace

std::optional<std::vector<std::string>> CompoundVariants(std::string_view sql, std::size_t cap) {
    const std::vector<Token> tokens = Tokenize(sql);
    std::vector<Region> regions(1);
    regions[0].begin = 0;
    regions[0].end = sql.size();
    regions[0].top = true;
    std::vector<std::size_t> stack{0};

    for (std::size_t t = 0; t < tokens.size(); ++t) {
        const Token& tok = tokens[t];
        Region& cur = regions[stack.back()];
        if (tok.kind == '(') {
            Region child;
            child.begin = tok.end;
            regions[stack.back()].children.push_back(regions.size());
            stack.push_back(regions.size());
            regions.push_back(child);
        } else if (tok.kind == ')') {
            if (stack.size() < 2) return std::nullopt;  // unbalanced: leave the statement alone
            cur.end = tok.begin;
            stack.pop_back();
        } else if (tok.kind == 'w') {
            const std::string_view word = sql.substr(tok.begin, tok.end - tok.begin);
            if (IEquals(word, "UNION") || IEquals(word, "INTERSECT") || IEquals(word, "EXCEPT")) {
                std::size_t end = tok.end;
                if (t + 1 < tokens.size() && tokens[t + 1].kind == 'w' &&
                    IEquals(
                        sql.substr(tokens[t + 1].begin, tokens[t + 1].end - tokens[t + 1].begin),
                        "ALL"))
                    end = tokens[++t].end;
                cur.ops.emplace_back(tok.begin, end);
            } else if (IEquals(word, "LIMIT") ||
                       (IEquals(word, "ORDER") && t + 1 < tokens.size() &&
                        IEquals(sql.substr(tokens[t + 1].begin,
                                           tokens[t + 1].end - tokens[t + 1].begin),
                                "BY"))) {
                cur.tails.push_back(tok.begin);
            }
        }
    }
    if (stack.size() != 1) return std::nullopt;

    std::size_t combos = 1;
    std::size_t compounds = 0;
    for (Region& r : regions) {
        if (r.ops.empty()) continue;
        r.compoundIndex = compounds++;
        std::size_t from = r.begin;
        for (const auto& [ob, oe] : r.ops) {
            r.branches.emplace_back(from, ob);
            from = oe;
        }
        std::size_t lastEnd = r.end;
        for (std::size_t tail : r.tails)
            if (tail > from) {
                lastEnd = tail;
                break;
            }
        r.branches.emplace_back(from, lastEnd);
        combos *= r.branches.size();
        if (combos > cap) return std::nullopt;
    }
    std::vector<std::string> out;
    if (compounds == 0) return out;

    Renderer renderer(sql, std::move(regions));
    const std::vector<std::size_t> order = renderer.Compounds();
    std::vector<std::size_t> choices(compounds, 0);
    for (;;) {
        out.push_back(renderer.Render(choices));
        // Mixed-radix count over the branch choices.
        std::size_t i = 0;
        for (; i < order.size(); ++i) {
            const Region& r = renderer.region(order[i]);
            if (++choices[r.compoundIndex] < r.branches.size()) break;
            choices[r.compoundIndex] = 0;
        }
        if (i == order.size()) break;
    }
    return out;
}

}  // namespace tb::store
