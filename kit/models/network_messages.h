/// Network definitions and weights as messages, from the bytes of their files.

#ifndef OZNA_KIT_MODELS_NETWORK_MESSAGES_H_
#define OZNA_KIT_MODELS_NETWORK_MESSAGES_H_

#include <string>
#include <string_view>

#include "caffe/proto/caffe.pb.h"

namespace kit {

// Layers in the old layout are brought to the present one, as far as the kinds go that a network
// may have here. Both throw Error with OZNAKIT_BAD_MODEL that names the file.
//
// label  Of the file, for messages.

/// From the text of a definition. A message names line and column of what is wrong.
void parseDefinition(const std::string& label, std::string_view text,
                     caffe::NetParameter& definition);

/// From the bytes of a weight file.
void parseWeights(const std::string& label, std::string_view bytes, caffe::NetParameter& weights);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_NETWORK_MESSAGES_H_
