#pragma once

#include "net/NetTypes.h"

#include <QByteArray>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <optional>

// The system's HTTP front door: class operations that each send one request
// and report its outcome, once, to a completion handler.
//
// Two families:
//   - the encrypted wall (sendPostRequestByEW, sendRequestWithoutGzipByEW,
//     sendUploadMutiPartRequestByEW): the address, query and body travel
//     compressed and encrypted under a fresh key (crypto/PingbackUtil.h) and
//     the answer is decrypted with the same key;
//   - the plain family (the JSON and data operations, the synchronous POST,
//     the plain multipart upload): requests sent as they are.
//
// Every call builds its own session client with the default configuration,
// uses it for that one request and (except the two uploads) invalidates it,
// cancelling its tasks, as the first step of its completion. Requests time
// out after 30 seconds without progress.
//
// Handlers run on the main thread, except sendPostRequestBySync's, which runs
// on a worker thread while the caller waits. Handlers may be empty: the
// request is still sent and its outcome dropped. A context object, when given,
// ties the call to it: if the context is destroyed before the outcome arrives,
// the handler is not called (the request still runs to its end). The context
// must live on the main thread.
//
// Header dictionaries map field names to values (text forms). The operations
// that build through a request builder set their own fields first and the
// dictionary afterwards, so a dictionary entry replaces theirs; the two
// uploads set the dictionary first and their own fields afterwards, so theirs
// win. Form-field dictionaries are written in ascending key order.
//
// Errors made here carry their text as the domain and no details:
//   "response is nil" (1)    the request finished without error and without a body
//   "response not JSON" (0)  a JSON operation's answer is not a JSON object
//   "Encrypt Error" (2)      the request could not be encrypted; nothing was sent
//   "Decrypt Error" (3)      a status-200 encrypted-wall answer did not decrypt
// Transport errors, non-2xx statuses and (plain multipart upload only)
// unacceptable content types are the client layer's errors, passed on as
// they are (net/NetTypes.h, net/AFHTTPResponseSerializer.h).
class VeskoNetworking {
public:
    // (body bytes, response, error)
    using DataHandler =
        std::function<void(const QByteArray& data, const zq::net::OptionalResponse& response,
                           const zq::net::OptionalError& error)>;
    // (parsed JSON object, error)
    using ObjectHandler =
        std::function<void(const QVariant& object, const zq::net::OptionalError& error)>;
    // (body bytes, error)
    using SyncHandler =
        std::function<void(const QByteArray& data, const zq::net::OptionalError& error)>;
    // (response, body bytes, error)
    using UploadHandler =
        std::function<void(const zq::net::OptionalResponse& response, const QByteArray& data,
                           const zq::net::OptionalError& error)>;
    using ProgressHandler = std::function<void(const zq::net::Progress& progress)>;

    static constexpr double kTimeoutInterval = 30.0;

    static constexpr char kResponseIsNilDomain[] = "response is nil";
    static constexpr qint64 kResponseIsNilCode = 1;
    static constexpr char kResponseNotJSONDomain[] = "response not JSON";
    static constexpr qint64 kResponseNotJSONCode = 0;
    static constexpr char kEncryptErrorDomain[] = "Encrypt Error";
    static constexpr qint64 kEncryptErrorCode = 2;
    static constexpr char kDecryptErrorDomain[] = "Decrypt Error";
    static constexpr qint64 kDecryptErrorCode = 3;
    // Refusal of sendPostRequestBySync on the main thread (zq::net::kRequestErrorDomain).
    static constexpr qint64 kWouldDeadlockCode = -1100;

    // --- the encrypted wall -------------------------------------------------

    // Encrypts (url, postData) and POSTs the result to the wall endpoint with
    // "Content-Length", "Content-Type: application/octet-stream",
    // "Cache-Control: no-cache", then the header dictionary. Outcomes:
    // encryption failure → (null, none, Encrypt Error), at once, nothing sent;
    // client error → (body, response, error); status other than 200 →
    // (null, response, none); an answer that does not decrypt → (null,
    // response, Decrypt Error); else (plain bytes, response, none).
    static void sendPostRequestByEW(const QString& url, const QVariantMap& header,
                                    const QByteArray& postData, DataHandler completionHandler,
                                    QObject* context = nullptr);
    // The same with "Accept-Encoding: deflate".
    static void sendRequestWithoutGzipByEW(const QString& url, const QVariantMap& header,
                                           const QByteArray& postData,
                                           DataHandler completionHandler,
                                           QObject* context = nullptr);
    // Builds the multipart body, encrypts (url, body) and POSTs the encrypted
    // body to domainUrl (not to the wall endpoint); fields: header dictionary,
    // then "Content-Type: multipart/form-data; boundary=<boundary>",
    // "Content-Length", "Accept-Encoding: gzip, deflate". Outcomes as above,
    // in the order (response, body, error). The session is not invalidated.
    static void sendUploadMutiPartRequestByEW(const QString& url, const QString& domainUrl,
                                              const QVariantMap& parameters,
                                              const QVariantMap& header, const QString& boundary,
                                              const QString& fileName, const QByteArray& fileData,
                                              UploadHandler completionHandler,
                                              QObject* context = nullptr);

    // --- the plain family ---------------------------------------------------

    // JSON operations: the parameters form-encoded (POST) or put into the
    // query (GET, JSON builder); caches ignored; outcomes: a JSON object →
    // (map, none); no body → (null, response is nil); an array, text, number
    // or null → (null, response not JSON); client failure → (null, error).
    static void sendPostRequest(const QString& url, const QVariant& parameters,
                                const QVariantMap& header, ObjectHandler completeDictHandler,
                                QObject* context = nullptr);
    static void sendGetRequest(const QString& url, const QVariant& parameters,
                               const QVariantMap& header, ObjectHandler completionHandler,
                               QObject* context = nullptr);

    // POST of body bytes with "Content-Length", "Content-Type:
    // application/octet-stream", "Cache-Control: no-cache", then the header
    // dictionary; parameters are not sent. Outcomes of the data operations:
    // error → (null, response, error); a non-empty body → (body, response,
    // none); else (null, response, response is nil).
    static void sendPostRequest(const QString& url, const QVariant& parameters,
                                const QVariantMap& header, const QByteArray& bodyData,
                                DataHandler completeDataHandler, QObject* context = nullptr);
    // A request built from the address alone: no method set (so GET), no
    // body, the header dictionary; parameters are not sent; local cache
    // ignored. Outcomes of the data operations.
    static void sendPostRequest(const QString& url, const QVariant& parameters,
                                const QVariantMap& header, DataHandler completeDataHandler,
                                QObject* context = nullptr);
    // GET with download progress (on the main thread); parameters are not sent.
    static void sendGetRequest(const QString& url, const QVariant& parameters,
                               ProgressHandler progress, const QVariantMap& header,
                               DataHandler completeDataHandler, QObject* context = nullptr);

    // The request of sendPostRequest(url, parameters, header, DataHandler),
    // answered on a worker thread: blocks the calling thread until the
    // handler has run (bounded by the request's timeout), handler (body,
    // error). Must not be called on the main thread, whose event loop the
    // request needs: there the handler is called at once with the error
    // (zq::net::kRequestErrorDomain, kWouldDeadlockCode) and nothing is sent.
    static void sendPostRequestBySync(const QString& url, const QVariant& parameters,
                                      const QVariantMap& header, SyncHandler completionHandler);

    // POST of the multipart body; fields: header dictionary, then
    // "Content-Type: multipart/form-data; boundary=<boundary>",
    // "Content-Length", "Accept-Encoding: gzip ,deflate". Upload progress on
    // the main thread; accepts only the content types "application/xml",
    // "text/xml", "text/html", "application/json", "text/javascript",
    // "text/json" and "text/plain"; handler (response, error ? null : body,
    // error). The session is not invalidated.
    static void sendUploadMutiPartRequest(const QString& url, const QVariantMap& parameters,
                                          const QString& boundary, const QVariantMap& header,
                                          const QString& fileName, const QByteArray& fileData,
                                          ProgressHandler progress, UploadHandler completionHandler,
                                          QObject* context = nullptr);

    // --- helpers ------------------------------------------------------------

    // The acceptable content types every operation but the plain multipart
    // upload installs: none (no content-type check).
    static std::optional<QSet<QString>> getAcceptContentTypes();

    // The multipart body of both uploads: with an empty boundary the file
    // bytes alone; otherwise each form field as
    // "--B\r\nContent-Disposition: form-data; name=\"N\"\r\n\r\nV\r\n", then
    // "--B\r\nContent-Disposition: form-data; name=\"file\"; filename=\"F\"\r\n\r\n",
    // the file bytes and "\r\n--B--\r\n".
    static QByteArray multipartBody(const QVariantMap& parameters, const QString& boundary,
                                    const QString& fileName, const QByteArray& fileData);

    // The wrapper's own error values.
    static zq::net::Error responseIsNilError();
    static zq::net::Error responseNotJSONError();
    static zq::net::Error encryptError();
    static zq::net::Error decryptError();
};
