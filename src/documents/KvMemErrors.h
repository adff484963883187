#pragma once
// Exceptions of the table engine and its storage. They carry the user-facing text, which
// reaches the application's default handler unchanged.
#include <QString>
#include <stdexcept>

class EKvMemError : public std::runtime_error {
 public:
  explicit EKvMemError(const QString& message)
      : std::runtime_error(message.toStdString()), FMessage(message) {}
  const QString& Message() const { return FMessage; }

 private:
  QString FMessage;
};

// "[KvMem][Store]-<code>. <text>" with the argument put in for "%s".
class EKvStorageError : public EKvMemError {
 public:
  EKvStorageError(int code, const QString& arg = QString());
  int Code() const { return FCode; }

 private:
  int FCode;
};

inline constexpr int ekvInvalidBinaryStorage = 710;
inline constexpr int ekvCannotReadProperty = 711;
inline constexpr int ekvCannotReadObject = 712;
inline constexpr int ekvCannotReadRawData = 713;
inline constexpr int ekvDictionaryOverflow = 714;
inline constexpr int ekvClassNotRegistered = 715;
inline constexpr int ekvUnknownStorageFormat = 716;

// A read that runs past the end of the data, as a file stream reports it.
class EKvStreamReadError : public EKvMemError {
 public:
  EKvStreamReadError() : EKvMemError(QStringLiteral("Stream read error")) {}
};
