#pragma once

/// An object stored as a protobuf message. The message is passed untyped so that the generated
/// classes stay out of the framework's public headers; each implementer documents which message
/// type it expects.
///
/// Making an object from a message is the implementer's static `createWithProtoObject(const void*)`,
/// which returns a new shared object (or nothing for a null pointer).
class ZAR_ProtobufSerializable {
 public:
  virtual ~ZAR_ProtobufSerializable() = default;
  /// Writes every field of this object into the message, replacing what it held.
  virtual void fillProtoObject(void* protoObject) const = 0;
};
