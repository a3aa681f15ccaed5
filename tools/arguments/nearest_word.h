/// Finds the known word that a mistyped one was meant to be.

#ifndef OZNA_TOOLS_ARGUMENTS_NEAREST_WORD_H_
#define OZNA_TOOLS_ARGUMENTS_NEAREST_WORD_H_

#include <cstddef>
#include <string>
#include <vector>

namespace oznatool {

/// The fewest letters to insert, delete, replace or exchange with a neighbour that turn one word
/// into the other, no letter being touched twice.
///
/// Source  F. Damerau, A technique for computer detection and correction of spelling errors, 1964.
std::size_t editDistance(const std::string& a, const std::string& b);

/// The first of the words that are nearest to word, or an empty text where even the nearest is so
/// far that the guess would be noise: more than a third of the letters, and more than one, differ,
/// or the word has fewer than three. Dashes before an option are no letters of it.
/// A known word that begins with the given one counts as near whatever is missing.
std::string nearestWord(const std::string& word, const std::vector<std::string>& known);

}  // namespace oznatool

#endif  // OZNA_TOOLS_ARGUMENTS_NEAREST_WORD_H_
