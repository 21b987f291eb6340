/// Persistent objects: every kernel object that lives in a file of its own.
///
/// A file is the version word and the payload that the object's `save` writes, nothing else:
///
///     offset 0   4 bytes   version word 0xFF08005A, little-endian (AceFile::get_version_magic)
///     offset 4   ...       payload
///
/// An object implements `save` and `read` with `AceFile` primitives; loading, dumping, measuring and copying
/// are built on them here, so that all of them apply exactly the same alignments.
///
/// Errors: negative codes, explained on the default reporter; broken input and failed writes throw an
/// `AceException` (see ace_file.h), and nothing leaks. After a failed `load` or `read_with_magic` an object
/// may only be loaded again or deleted.
///
/// Thread safety: an object is loaded by one thread; what its class says holds from then on.
#pragma once

#include <cstddef>
#include <memory>

#include "ace/ace_types.h"

class AceFile;
class AceMemPoint;
class AceReporter;

class SORV_API AceWrap {
 public:
  AceWrap();
  AceWrap(const AceWrap&) = delete;
  AceWrap& operator=(const AceWrap&) = delete;
  /// Drops the mapping, and with it everything that the object read from it.
  virtual ~AceWrap();

  /// Reads the payload; negative is an error, anything else is handed to the caller of `load`. Arrays taken
  /// with `AceFile::read` point into the file when `AceFile::is_mapped`; it lives as long as this object.
  virtual VInt read(AceFile* file) = 0;
  /// Writes the payload; negative is an error. Must write the same each time it is called.
  virtual VInt save(AceFile* file) = 0;

  /// The version word, then `save`, whose result is returned.
  VInt save_with_magic(AceFile* file);
  /// Reads a file's image of `size` bytes, which is copied. Returns the result of `read`; or -5 to -8 for
  /// another version word (see `load`).
  VInt read_with_magic(const char* image, std::size_t size);
  /// Reads the named file. `mode` 0 reads it as a stream; 1 maps it, and the object uses it in place; 2 maps
  /// and locks it in memory; 3 maps it and touches every page.
  /// Returns the result of `read`; -1 for another mode; the code of `AceFile::prep` or `map`; or, when the
  /// version word differs, -5 to -8 for its lowest differing byte (`AceFile::get_version_magic_reason`): the
  /// file is older or newer than this library.
  VInt load(const char* name, int mode, AceReporter* rep);
  /// Writes the file, all or nothing: until the new one is complete on disk, the old one stays as it is, and
  /// who has it mapped keeps it. Reports the scale, the progress and the MD5 on `rep`, which may be null.
  /// Returns 0 or a negative error; failed writes throw.
  int dump(const char* name, AceReporter* rep);
  /// The same, and then the file's sum beside it (ace_sum.h), which `dump` removes.
  int dump_with_sum(const char* name, AceReporter* rep);
  /// As `load`, after the file was compared with its sum: -9 when it does not match or there is none. To
  /// compare while the object is used already, see `AceSum::Background`.
  VInt load_checked(const char* name, int mode, AceReporter* rep);
  /// Bytes that the file would have, or a negative error.
  VInt size();
  /// Writes the file's image into memory of `alloc`, which is asked for one byte more (set to 0) and has to
  /// remember it. Returns the size of the image, or a negative error.
  VInt copy(void* (*alloc)(long));
  /// Writes the file's image into `buffer`. Returns the bytes written or a negative error; throws when a
  /// positive `size` does not suffice. With 0 or less the caller vouches for the room.
  VInt collect(char* buffer, Huge size);
  /// Where the bytes go: a chain of points (see ace_mem_point.h) that starts with `title` and ends with
  /// "END_OF_OBJECT", owned by the caller. Null on errors, and for a null title.
  AceMemPoint* memory_usage(const char* title);

  /// Reads an object of whatever registered type the file, open at its start, holds. Stores the name of its
  /// type into `type_name`, unless that is null. The object may point into the file and must not outlive it.
  /// Null when the version word differs or no type recognises the payload.
  static AceWrap* factory(AceFile* file, const char** type_name);
  /// The same from the named file, read as a stream; null when the object's type is not `type_name`.
  static AceWrap* factory(const char* file, const char* type_name);

 protected:
  struct ImageDelete {
    void operator()(char* image) const;
  };

  /// Keeps the mapping alive.
  std::unique_ptr<AceFile> mapFile;
  /// Keeps the copy of the image of `read_with_magic` alive; from `ace_alloc`.
  std::unique_ptr<char, ImageDelete> staticBuffer;
};

/// Registration of a persistent type: one static instance per type, found through `factoryList`.
///
/// Thread safety: instances are made while the library or a plug-in is loaded.
template <class T>
class SORV_API MagicFactory {
 public:
  /// Tries to read an object from a file positioned behind the version word; null when it is of another type.
  using MagicFunc = T* (*)(AceFile* file);
  using CreateFunc = T* (*)();

  /// `type_name` is kept by pointer.
  MagicFactory(MagicFunc magic_func, CreateFunc create_func, const char* type_name)
      : nextFactory(factoryList), magicFunc(magic_func), create(create_func), typeName(type_name) {
    factoryList = this;
  }
  MagicFactory(const MagicFactory&) = delete;
  MagicFactory& operator=(const MagicFactory&) = delete;
  ~MagicFactory() {
    MagicFactory** link = &factoryList;
    while (*link != nullptr && *link != this) link = &(*link)->nextFactory;
    if (*link == this) *link = nextFactory;
  }

  MagicFactory* nextFactory;
  MagicFunc magicFunc;
  /// Makes an empty object.
  CreateFunc create;
  const char* typeName;

  /// The newest registration; null when there is none.
  static MagicFactory* factoryList;
};

template <class T>
constinit MagicFactory<T>* MagicFactory<T>::factoryList = nullptr;

extern template class SORV_API MagicFactory<AceWrap>;
