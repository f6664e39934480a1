#include "common/NearestWord.h"

#include <algorithm>

namespace common
{

namespace
{

// Longer ones are no mistyped words, and cost time.
constexpr std::size_t kMaxWordBytes = 64;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// How many letters make one text the other.
std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t k = 0; k <= b.size(); ++k) row[k] = k;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t k = 1; k <= b.size(); ++k) {
            const std::size_t wrong = lower(a[i - 1]) == lower(b[k - 1]) ? 0 : 1;
            const std::size_t above = row[k];
            row[k] = std::min({above + 1, row[k - 1] + 1, diagonal + wrong});
            diagonal = above;
        }
    }
    return row[b.size()];
}

std::size_t commonBeginning(std::string_view a, std::string_view b)
{
    std::size_t count = 0;
    while (count < a.size() && count < b.size() && lower(a[count]) == lower(b[count])) ++count;
    return count;
}

}  // namespace

std::string nearestWord(std::string_view text, const std::vector<std::string>& words)
{
    std::string nearest;
    std::size_t least = kMaxWordBytes;
    std::size_t longest = 0;
    if (text.size() > kMaxWordBytes) return nearest;
    for (const std::string& word : words) {
        if (word.size() > kMaxWordBytes) continue;
        const std::size_t difference = distance(text, word);
        if (difference > least || difference * 2 > word.size()) continue;
        // People look at the beginning of a word first.
        const std::size_t prefix = commonBeginning(text, word);
        if (difference == least && prefix <= longest) continue;
        least = difference;
        longest = prefix;
        nearest = word;
    }
    return nearest;
}

}  // namespace common
