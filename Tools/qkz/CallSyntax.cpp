#include "CallSyntax.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <tuple>
#include <utility>

namespace qkz {
namespace {

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)); }
bool isNamePart(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

class Reader {
 public:
    explicit Reader(std::string_view text) : text_(text), rest_(text) {}

    WrittenCall call() {
        WrittenCall result;
        result.name = name();
        if (result.name.empty()) fail("does not begin with a name");
        if (take('(') && !take(')')) {
            do result.arguments.push_back(argument());
            while (take(','));
            if (!take(')')) {
                fail(rest_.empty() ? "lacks its closing parenthesis"
                                   : "lacks a comma or parenthesis before \"" + std::string(rest_) + '"');
            }
        }
        if (take('=')) result.assigned = value();
        skipBlanks();
        if (!rest_.empty()) fail("goes on with \"" + std::string(rest_) + '"');
        return result;
    }

 private:
    [[noreturn]] void fail(const std::string& what) const {
        throw UsageError("the call \"" + std::string(text_) + "\" " + what);
    }
    void skipBlanks() {
        while (!rest_.empty() && isBlank(rest_.front())) rest_.remove_prefix(1);
    }
    bool take(char c) {
        skipBlanks();
        if (!rest_.starts_with(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    std::string name() {
        skipBlanks();
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), isNamePart);
        const auto length = static_cast<std::size_t>(end - rest_.begin());
        std::string result(rest_.substr(0, length));
        rest_.remove_prefix(length);
        return result;
    }
    std::string bare(std::string_view terminators) {
        skipBlanks();
        const auto length = std::min(rest_.find_first_of(terminators), rest_.size());
        std::string result(rest_.substr(0, length));
        rest_.remove_prefix(length);
        while (!result.empty() && isBlank(result.back())) result.pop_back();
        return result;
    }
    std::string quoted() {  // after the opening quote; a doubled quote stands for one
        std::string result;
        while (true) {
            const auto quote = rest_.find('"');
            if (quote == rest_.npos) fail("has a quote that is not closed");
            result += rest_.substr(0, quote);
            rest_.remove_prefix(quote + 1);
            if (!rest_.starts_with('"')) return result;
            result += '"';
            rest_.remove_prefix(1);
        }
    }
    WrittenArgument value() {
        WrittenArgument result;
        result.quoted = take('"');
        result.text = result.quoted ? quoted() : bare(",)>");
        if (!result.quoted && result.text.empty()) fail("has an empty argument");
        if (!take('>')) return result;
        result.file = take('"') ? quoted() : bare(",)");
        if (result.file.empty()) fail("has an empty file name");
        return result;
    }
    WrittenArgument argument() {
        const std::string_view start = rest_;
        std::string key = name();
        if (key.empty() || !take('=')) {
            key.clear();
            rest_ = start;
        }
        WrittenArgument result = value();
        result.key = std::move(key);
        return result;
    }

    std::string_view text_, rest_;
};

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
bool isUpper(char c) { return std::isupper(static_cast<unsigned char>(c)); }

bool equal(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

std::string_view withoutSuffix(std::string_view name) {
    const bool has = name.size() > suffix.size() && equal(name.substr(name.size() - suffix.size()), suffix);
    return has ? name.substr(0, name.size() - suffix.size()) : name;
}

std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (lower(a[i]) != lower(b[j]));
            diagonal = std::exchange(row[j + 1], std::min({changed, row[j] + 1, row[j + 1] + 1}));
        }
    }
    return row.back();
}

/// The words of which a name is put together: Picture and Sepia of PictureSepia.
std::vector<std::string_view> wordsOf(std::string_view name) {
    std::vector<std::string_view> words;
    while (!name.empty()) {
        std::size_t length = 1;
        while (length < name.size() && !(isUpper(name[length]) && !isUpper(name[length - 1]))) ++length;
        words.push_back(name.substr(0, length));
        name.remove_prefix(length);
    }
    return words;
}

constexpr std::size_t tooFar = ~std::size_t{0};

/// How far a name is from the wanted one, as a whole, without the suffix, or by one of its words.
std::size_t strangeness(std::string_view wanted, std::string_view name) {
    std::size_t least = tooFar;
    const auto consider = [&least](std::size_t d, std::size_t most, std::size_t more) {
        if (d <= most) least = std::min(least, 2 * d + more);
    };
    consider(distance(wanted, name), (wanted.size() + 1) / 2, 0);
    const std::string_view stem = withoutSuffix(wanted), nameStem = withoutSuffix(name);
    consider(distance(stem, nameStem), (stem.size() + 1) / 2, 1);
    if (stem.size() < 4) return least;
    if (std::search(nameStem.begin(), nameStem.end(), stem.begin(), stem.end(),
                    [](char x, char y) { return lower(x) == lower(y); }) != nameStem.end()) {
        consider(0, 0, 2);
    }
    for (const std::string_view word : wordsOf(nameStem)) {
        if (word.size() > 2) consider(distance(stem, word), (stem.size() + 1) / 3, 2);
    }
    return least;
}

}  // namespace

WrittenCall parseCall(std::string_view text) { return Reader(text).call(); }

std::vector<std::string> nearest(std::string_view wanted, const std::vector<std::string>& names) {
    std::vector<std::tuple<std::size_t, std::size_t, std::string>> ranked;
    for (const std::string& name : names) {
        const std::size_t strange = strangeness(wanted, name);
        if (strange != tooFar) ranked.emplace_back(strange, name.size(), name);
    }
    std::sort(ranked.begin(), ranked.end());
    ranked.erase(std::unique(ranked.begin(), ranked.end()), ranked.end());
    std::vector<std::string> result;
    for (std::size_t i = 0; i < ranked.size() && i < 3; ++i) result.push_back(std::get<2>(ranked[i]));
    return result;
}

std::string suggestion(std::string_view wanted, const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& near : nearest(wanted, names)) {
        list += (list.empty() ? "; the nearest: " : ", ") + near;
    }
    return list;
}

}  // namespace qkz
