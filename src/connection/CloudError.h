#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace Norvik::Cloud::Error {

class CloudErrorBase;

// Writes the keys every record has: "type", and "message" and "raw_body" when they are not empty.
class CloudErrorToByteArray
{
public:
    QJsonObject operator()(const CloudErrorBase& error) const;
    static QByteArray encode(const QByteArray& json);
};

// Reads the keys every record has. The parsed object stays available to the readers of
// subclasses, which take their own keys from it.
class CloudErrorFromByteArray
{
public:
    // False when the bytes are not Base64 of a JSON object, when "type" is missing or not an
    // integer, or when "message" or "raw_body" is there but is not a string.
    bool operator()(CloudErrorBase& error, const QByteArray& data);
    static QByteArray decode(QByteArray data);

    const QJsonObject& object() const { return m_object; }

private:
    QJsonObject m_object;
};

// A failure with structure that a client acts upon. It reaches the client as text (the
// "CloudError" of a result) and is rebuilt there by CloudErrorFactory: Base64 of a small JSON
// object whose "type" tells the class.
class CloudErrorBase
{
public:
    explicit CloudErrorBase(int type = 0);
    CloudErrorBase(const CloudErrorBase&) = default;
    CloudErrorBase& operator=(const CloudErrorBase&) = default;
    virtual ~CloudErrorBase();

    // True when the record parsed. A failed read may leave the object half filled.
    virtual bool fromByteArray(const QByteArray& data);
    QByteArray toByteArray() const;

    int type() const { return m_type; }
    const QString& rawBody() const { return m_rawBody; }
    const QString& message() const { return m_message; }

    void setRawBody(const QString& rawBody) { m_rawBody = rawBody; }
    void setMessage(const QString& message) { m_message = message; }

protected:
    virtual QByteArray toByteArrayCustom() const;
    virtual bool fromByteArrayCustom(const QByteArray& data);

    // The writer and reader of a record, built on the object. A record with keys of its own
    // derives from both and adds them in extend() and read().
    class ToByteArray
    {
    public:
        explicit ToByteArray(const CloudErrorBase& error);
        virtual ~ToByteArray();
        QByteArray operator()() const;

    protected:
        virtual void extend(QJsonObject& object) const;

    private:
        const CloudErrorBase& m_error;
    };

    class FromByteArray
    {
    public:
        // expectedType 0 accepts any type.
        FromByteArray(CloudErrorBase& error, int expectedType);
        virtual ~FromByteArray();
        bool operator()(const QByteArray& data);

    protected:
        virtual bool read(const QJsonObject& object);

    private:
        CloudErrorBase& m_error;
        int m_expectedType;
    };

    // Reads a string member into target; an absent key is fine only when required is false.
    static bool readString(const QJsonObject& object, const QString& key, QString& target, bool required);

private:
    friend class CloudErrorFromByteArray;

    int m_type;
    QString m_rawBody;
    QString m_message;
};

// The object name holds characters that the service refuses.
class PathContainsIllegalSymbols : public CloudErrorBase
{
public:
    static constexpr int TypeNumber = 1001;

    PathContainsIllegalSymbols();
    ~PathContainsIllegalSymbols() override;

    bool fromByteArray(const QByteArray& data) override;
};

} // namespace Norvik::Cloud::Error
