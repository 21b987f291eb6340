/// A line reader that yields the phonetic codes of the lines of another reader.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_reader.h"
#include "tera/tera_transform.h"

/// Lines of an entry list are "%08x\t%s": the attribute and the TAB stay, the string is coded. A line without
/// a TAB is coded whole.
///
/// Neither the inner reader nor the transform is owned. A line is valid until the next read.
class SORV_API PhoneReader : public AceReader {
 public:
  PhoneReader(AceReader* reader, const TeraTransform* trafo) : innerReader(reader), phoneTrafo(trafo) {}

  int read_line(const char** line, VInt* lineNo) override;
  int rewind() override;
  int read_error() const override { return innerReader->read_error(); }

 private:
  AceReader* innerReader;
  const TeraTransform* phoneTrafo;
  AceAttach lineAt;  // the line handed out last
};
