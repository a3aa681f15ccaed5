/// What the tests of the models share: the sentence of a refusal.

#ifndef OZNA_TESTS_KIT_MODELS_REFUSAL_H_
#define OZNA_TESTS_KIT_MODELS_REFUSAL_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kit/error.h"

namespace kit_test {

/// The sentence of the error that a call ends with; "taken" where it ends with none.
inline std::string refusalOf(oznakit_status expected, const std::function<void()>& call) {
  try {
    call();
    return "taken";
  } catch (const kit::Error& error) {
    EXPECT_EQ(error.status(), expected) << error.what();
    return error.what();
  }
}

/// A failure where the sentence does not have the words.
inline void expectWords(const std::string& sentence, const std::string& words) {
  EXPECT_NE(sentence.find(words), std::string::npos) << sentence;
}

}  // namespace kit_test

#endif  // OZNA_TESTS_KIT_MODELS_REFUSAL_H_
