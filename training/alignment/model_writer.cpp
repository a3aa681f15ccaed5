// The fields of a model file, in their order.

#include "training/alignment/model_writer.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <vector>

namespace alignment_training {
namespace {

void writeInt(std::ostream& out, std::int32_t value) {
  const auto bits = static_cast<std::uint32_t>(value);
  char bytes[4];
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>(bits >> (8 * i));
  out.write(bytes, 4);
}

void writeFloats(std::ostream& out, const std::vector<float>& values) {
  writeInt(out, static_cast<std::int32_t>(values.size()));
  for (const float value : values) {
    std::int32_t bits;
    static_assert(sizeof bits == sizeof value, "float has 32 bits");
    std::memcpy(&bits, &value, sizeof bits);
    writeInt(out, bits);
  }
}

template <class Object>
void writeObjects(std::ostream& out, const std::vector<Object>& objects) {
  writeInt(out, static_cast<std::int32_t>(objects.size()));
  for (const Object& object : objects) object.save(out);
}

void writeFields(std::ostream& out, const oznalib::SDMModel& model) {
  writeObjects(out, model.auxMatrices);
  writeObjects(out, model.stageBias);
  writeFloats(out, model.meanShape);
  writeFloats(out, model.auxValues);
  writeObjects(out, model.stageMaps);
  writeInt(out, static_cast<std::int32_t>(model.stageLevels.size()));
  for (const std::int32_t level : model.stageLevels) writeInt(out, level);
  writeInt(out, 0);  // A word that readers drop.
  writeInt(out, model.reservedFlag);
  writeInt(out, model.levelsPerOctave);
  writeInt(out, model.faceWidth);
}

}  // namespace

void writeModel(const oznalib::SDMModel& model, const std::string& path) {
  const std::string partial = path + ".part";
  {
    std::ofstream out(partial, std::ios::binary);
    writeFields(out, model);
    out.close();
    if (!out) throw std::runtime_error("cannot write " + partial);
  }
  if (std::rename(partial.c_str(), path.c_str()) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace alignment_training
