#pragma once
// The framework's error types. Errors carry a (usually Chinese) message as
// QString; what() gives it in UTF-8 for logs and std::exception handlers.

#include <QString>
#include <stdexcept>

namespace lnq {

class Exception : public std::runtime_error {
public:
    explicit Exception(const QString& message)
        : std::runtime_error(message.toStdString()), m_message(message) {}
    const QString& Message() const noexcept { return m_message; }

private:
    QString m_message;
};

// Text that is not a valid number or date for a conversion (StrToInt, StrToFloat...).
class EConvertError : public Exception {
public:
    using Exception::Exception;
};

// Anything the data layer reports: bad SQL, a missing table, a lost connection,
// an unknown field, a dataset in the wrong state.
class EDatabaseError : public Exception {
public:
    using Exception::Exception;
};

// A dataset of the right family but the wrong concrete class (see FillDataset).
class EInvalidCast : public Exception {
public:
    using Exception::Exception;
};

// A stream or file that ends early or holds data that cannot be what it claims.
class EReadError : public Exception {
public:
    using Exception::Exception;
};

// File-system failures (cannot create, write or open a file).
class EInOutError : public Exception {
public:
    using Exception::Exception;
};

} // namespace lnq
