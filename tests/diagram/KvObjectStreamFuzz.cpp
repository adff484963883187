// libFuzzer target over the object stream readers: any input either fails with a stream
// error or parses; and the text the converter writes converts again without change.
#include <cstdint>
#include <cstdlib>

#include "KvObjectStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
  try {
    const QByteArray binary = bytes.startsWith("TPF0") ? bytes : KvObjectTextToBinary(bytes);
    const QByteArray text = KvObjectBinaryToText(binary);
    if (KvObjectBinaryToText(KvObjectTextToBinary(text)) != text) std::abort();
  } catch (const EKvFilerError&) {
  }
  return 0;
}
