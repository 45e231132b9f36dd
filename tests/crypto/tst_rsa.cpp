// RSA: the compiled-in service key, RSAES-PKCS1-v1_5 of one
// block (decrypted by the openssl command line with the development private
// key), DataEncryptor, the secondary key sources and the key store, and
// SecKeyWrapper.

#include "TestSupport.h"

#include "crypto/DataEncryptor.h"
#include "crypto/KeyStore.h"
#include "crypto/SecKeyWrapper.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

using namespace zq::crypto;
using Item = KeyStore::ItemClass;
using cryptotest::writeAll;

namespace {

// Decrypts one PKCS#1 v1.5 block with the openssl command line.
QByteArray opensslDecrypt(const QByteArray& cipher, const QString& privateKeyPath) {
    const auto result = cryptotest::run(
        cryptotest::openssl(),
        {QStringLiteral("pkeyutl"), QStringLiteral("-decrypt"), QStringLiteral("-inkey"),
         privateKeyPath, QStringLiteral("-pkeyopt"), QStringLiteral("rsa_padding_mode:pkcs1")},
        cipher);
    return result.exitCode == 0 ? result.out : QByteArray("<openssl failed: ") + result.err + '>';
}

QByteArray bytes(int length, char first) {
    QByteArray data(length, Qt::Uninitialized);
    for (int i = 0; i < length; ++i) {
        data[i] = char(first + i);
    }
    return data;
}

constexpr char kUnsupportedBits[] = "1000 is an invalid and unsupported key size.";

}  // namespace

class TestRsa : public QObject {
    Q_OBJECT

private slots:
    void init() {
        // Every test starts with the compiled-in key as the class's key.
        DataEncryptor::setPublicKey(DataEncryptor::getRsaPublicKey());
    }

    void rsaEncryptLengths() {
        // The compiled-in key (cached) is the development key: up to 116 bytes fit
        // one 1024-bit PKCS#1 v1.5 block, and openssl decrypts them with its private half.
        QCOMPARE(DataEncryptor::getRsaPublicKey(), DataEncryptor::getRsaPublicKey());
        for (const int length : {0, 116, 117}) {
            const QByteArray plain = bytes(length, 'A');
            const QByteArray cipher =
                rsaEncryptWithPublicKey(plain, DataEncryptor::getRsaPublicKey());
            QCOMPARE(cipher.isNull(), length > 116);
            if (length <= 116) {
                QCOMPARE(cipher.size(), 128);
                QCOMPARE(opensslDecrypt(cipher, cryptotest::devPrivateKeyPath()), plain);
            }
            QVERIFY(rsaEncryptWithPublicKey(plain, nullptr).isNull());
        }
    }

    void keyImportRejectsGarbage_data() {
        QTest::addColumn<QByteArray>("der");
        QTest::addColumn<int>("keyClass");
        const QByteArray good = DataEncryptor::getRsaPublicKey()->subjectPublicKeyInfoDer();
        QTest::newRow("empty") << QByteArray() << int(KeyClass::Public);
        QTest::newRow("truncated") << good.left(100) << int(KeyClass::Public);
        QTest::newRow("trailing byte") << good + '\0' << int(KeyClass::Public);
        QTest::newRow("public key as private") << good << int(KeyClass::Private);
    }

    void keyImportRejectsGarbage() {
        QFETCH(QByteArray, der);
        QFETCH(int, keyClass);
        QVERIFY(!DataEncryptor::keyWithBytes(der, KeyClass(keyClass)));
    }

    void encryptorNeedsKeyIvAndPublicKey() {
        const unsigned char key[32] = {1};
        const unsigned char iv[16] = {2};
        for (const auto& [withKey, withIv] : {std::pair{true, false}, {false, true}}) {
            DataEncryptor encryptor(QByteArray("content"));
            encryptor.setAesKey(withKey ? key : nullptr);
            encryptor.setAesIv(withIv ? iv : nullptr);
            QVERIFY((withKey ? encryptor.rsaEncryptedAesIv() : encryptor.rsaEncryptedAesKey())
                        .isNull());
            DataEncryptorError error;
            encryptor.Encrypt(&error);
            QCOMPARE(error.domain, QStringLiteral("vesko.DataEncryptor"));
            QCOMPARE(error.code, -1);
            QVERIFY(!encryptor.IsSuccess());
            QVERIFY(encryptor.aesEncryptedContent().isNull());
            encryptor.Encrypt(nullptr);  // a null error out-argument is allowed
            QVERIFY(!encryptor.IsSuccess());
        }
        DataEncryptor encryptor(QByteArray("x"));
        encryptor.setAesKey(key);
        encryptor.setAesIv(iv);
        DataEncryptor::setPublicKey(nullptr);
        QVERIFY(encryptor.rsaEncryptedAesKey().isNull());
        QVERIFY(encryptor.rsaEncryptedAesIv().isNull());
    }

    void randomizeAesKeyIv() {
        const auto text = [](const unsigned char* data, int size) {
            return QByteArray(reinterpret_cast<const char*>(data), size);
        };
        // Null buffers are ignored.
        unsigned char key[32] = {};
        unsigned char iv[16] = {};
        DataEncryptor::randomizeAesKeyIv(key, 32, nullptr, 16);
        DataEncryptor::randomizeAesKeyIv(nullptr, 32, iv, 16);
        QCOMPARE(text(key, 32), QByteArray(32, '\0'));
        QCOMPARE(text(iv, 16), QByteArray(16, '\0'));
        DataEncryptor::randomizeAesKeyIv(key, 32, iv, 16);
        QVERIFY(text(key, 32) != QByteArray(32, '\0'));
        QVERIFY(text(iv, 16) != QByteArray(16, '\0'));
    }

    void certificateKeySource() {
        // A private certificate authority and a certificate it issued, made with
        // the openssl command line.
        const QString dir = _dir.path();
        auto openssl = [&](const QStringList& args) {
            const auto result = cryptotest::run(cryptotest::openssl(), args);
            return result.exitCode == 0;
        };
        const QString caKey = dir + QStringLiteral("/ca.pem");
        const QString caCert = dir + QStringLiteral("/ca.crt");
        const QString leafKey = dir + QStringLiteral("/leaf.pem");
        const QString leafCsr = dir + QStringLiteral("/leaf.csr");
        const QString leafCert = dir + QStringLiteral("/public_key.der");
        const QString selfSigned = dir + QStringLiteral("/self.der");
        QVERIFY(openssl({"req", "-x509", "-newkey", "rsa:1024", "-nodes", "-keyout", caKey, "-out",
                         caCert, "-days", "3650", "-subj", "/CN=Test CA"}));
        QVERIFY(openssl({"req", "-newkey", "rsa:1024", "-nodes", "-keyout", leafKey, "-out",
                         leafCsr, "-subj", "/CN=Service"}));
        QVERIFY(openssl({"x509", "-req", "-in", leafCsr, "-CA", caCert, "-CAkey", caKey,
                         "-CAcreateserial", "-days", "3650", "-outform", "DER", "-out", leafCert}));
        QVERIFY(openssl({"req", "-x509", "-newkey", "rsa:1024", "-nodes", "-keyout",
                         dir + "/self.pem", "-outform", "DER", "-out", selfSigned, "-days", "3650",
                         "-subj", "/CN=Nobody"}));
        const QByteArray leafPublic =
            cryptotest::run(cryptotest::openssl(),
                            {"pkey", "-in", leafKey, "-pubout", "-outform", "DER"})
                .out;

        qputenv("SSL_CERT_FILE", caCert.toLocal8Bit());
        qputenv("SSL_CERT_DIR", dir.toLocal8Bit());
        const RsaKeyPtr before = DataEncryptor::publicKey();
        QVERIFY(!DataEncryptor::getPublicKey(selfSigned));  // not trusted
        QVERIFY(!DataEncryptor::getPublicKey(dir + QStringLiteral("/missing.der")));
        QVERIFY(!DataEncryptor::getPublicKey(caKey));  // not a DER certificate
        QCOMPARE(DataEncryptor::publicKey(), before);
        QVERIFY(DataEncryptor::getPublicKey(leafCert));
        QCOMPARE(DataEncryptor::publicKey()->subjectPublicKeyInfoDer(), leafPublic);
        qunsetenv("SSL_CERT_FILE");
        qunsetenv("SSL_CERT_DIR");
    }

    void keyStoreServiceKey() {
        // The default key store lives in this test's private data folder.
        QVERIFY(KeyStore::defaultFolder().startsWith(qEnvironmentVariable("XDG_DATA_HOME")));
        QDir(KeyStore::defaultFolder()).removeRecursively();
        QVERIFY(!DataEncryptor::queryPublicKeyRef());
        const QByteArray serviceKey = DataEncryptor::getRsaPublicKey()->subjectPublicKeyInfoDer();
        const RsaKeyPtr imported = DataEncryptor::importPublicKeyRef();
        QVERIFY(imported);
        QCOMPARE(imported->subjectPublicKeyInfoDer(), serviceKey);
        // A second import keeps the item; the query finds it.
        QVERIFY(DataEncryptor::importPublicKeyRef());
        QCOMPARE(DataEncryptor::queryPublicKeyRef()->subjectPublicKeyInfoDer(), serviceKey);
        QByteArray ref;
        QCOMPARE(KeyStore().persistentRef(Item::PublicKey, "VESKO_RSA_PUBLIC_KEY", &ref), 0);
        QCOMPARE(DataEncryptor::getKeyRefWithPersistentKeyRef(ref)->subjectPublicKeyInfoDer(),
                 serviceKey);
        QVERIFY(!DataEncryptor::getKeyRefWithPersistentKeyRef("vesko-keystore:public:00"));
        QVERIFY(!DataEncryptor::getKeyRefWithPersistentKeyRef("nonsense"));
    }

    void keyStoreFilesArePrivate() {
        KeyStore store(_dir.filePath(QStringLiteral("store")));
        QCOMPARE(store.add(Item::SymmetricKey, "tag", "12345678"), 0);
        QCOMPARE(store.add(Item::SymmetricKey, "tag", "other"), int(KeyStore::kDuplicateItem));
        const QFileInfo folder(store.folder());
        QCOMPARE(folder.permissions() & ~(QFile::ReadUser | QFile::WriteUser | QFile::ExeUser),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QStringList files = QDir(store.folder()).entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        const QFileInfo item(store.folder() + u'/' + files.first());
        QCOMPARE(item.permissions() & ~(QFile::ReadUser | QFile::WriteUser),
                 QFile::ReadOwner | QFile::WriteOwner);
        QByteArray data;
        QCOMPARE(store.find(Item::SymmetricKey, "tag", &data), 0);
        QCOMPARE(data, QByteArray("12345678"));
        QCOMPARE(store.find(Item::PublicKey, "tag", &data), int(KeyStore::kItemNotFound));
        QCOMPARE(store.remove(Item::SymmetricKey, "tag"), 0);
        QCOMPARE(store.remove(Item::SymmetricKey, "tag"), int(KeyStore::kItemNotFound));
        QCOMPARE(store.add(Item::SymmetricKey, "", "x"), int(KeyStore::kParam));
    }

    void keyStorePersistentRefs() {
        KeyStore store(_dir.filePath(QStringLiteral("refs")));
        QCOMPARE(store.add(Item::PublicKey, "peer/one", "DER-1"), 0);
        QCOMPARE(store.add(Item::PublicKey, "peer/two", "DER-2"), 0);
        QByteArray ref;
        QCOMPARE(store.persistentRefForData(Item::PublicKey, "DER-2", &ref), 0);
        Item itemClass = Item::SymmetricKey;
        QByteArray data;
        QCOMPARE(store.findByPersistentRef(ref, &itemClass, &data), 0);
        QCOMPARE(itemClass, Item::PublicKey);
        QCOMPARE(data, QByteArray("DER-2"));
        QCOMPARE(store.persistentRefForData(Item::PublicKey, "DER-3", &ref),
                 int(KeyStore::kItemNotFound));
        QCOMPARE(store.findByPersistentRef("vesko-keystore:bogus:00", &itemClass, &data),
                 int(KeyStore::kParam));
    }

    void wrapperKeyPair() {
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("pair"))));
        QVERIFY(!wrapper.generateKeyPair(1000));
        QCOMPARE(wrapper.lastMessage(), QString::fromLatin1(kUnsupportedBits));
        QVERIFY(!wrapper.getPublicKeyRef());
        QVERIFY(wrapper.generateKeyPair(1024));
        const RsaKeyPtr publicKey = wrapper.getPublicKeyRef();
        const RsaKeyPtr privateKey = wrapper.getPrivateKeyRef();
        QVERIFY(publicKey && privateKey);
        QCOMPARE(publicKey->bits(), 1024);
        QCOMPARE(privateKey->keyClass(), KeyClass::Private);
        QCOMPARE(wrapper.getPublicKeyBits(), publicKey->pkcs1PublicKeyDer());
        QCOMPARE(privateKey->publicHalf()->pkcs1PublicKeyDer(), publicKey->pkcs1PublicKeyDer());
        // Persistent references resolve to the same keys.
        const QByteArray ref = wrapper.getPersistentKeyRefWithKeyRef(publicKey);
        QVERIFY(!ref.isEmpty());
        QCOMPARE(wrapper.getKeyRefWithPersistentKeyRef(ref)->pkcs1PublicKeyDer(),
                 publicKey->pkcs1PublicKeyDer());
        const QByteArray privateRef = wrapper.getPersistentKeyRefWithKeyRef(privateKey);
        QCOMPARE(wrapper.getKeyRefWithPersistentKeyRef(privateRef)->keyClass(), KeyClass::Private);
        QVERIFY(wrapper.getPersistentKeyRefWithKeyRef(nullptr).isEmpty());
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("keyRef object cannot be NULL."));
        QVERIFY(!wrapper.getKeyRefWithPersistentKeyRef(QByteArray()));
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("persistentRef object cannot be NULL."));
        // A second pair replaces the first.
        QVERIFY(wrapper.generateKeyPair(512));
        QCOMPARE(wrapper.getPublicKeyRef()->bits(), 512);
        wrapper.deleteAsymmetricKeys();
        QVERIFY(!wrapper.getPublicKeyRef());
        QVERIFY(!wrapper.getPrivateKeyRef());
    }

    void wrapperWrapUnwrap() {
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("wrap"))));
        QVERIFY(wrapper.unwrapSymmetricKey(QByteArray(128, 'x')).isNull());
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("No private key found in the keychain."));
        QVERIFY(wrapper.generateKeyPair(1024));
        const QByteArray symmetric("8bytekey");
        const QByteArray wrapped = wrapper.wrapSymmetricKey(symmetric, wrapper.getPublicKeyRef());
        QCOMPARE(wrapped.size(), 128);
        QCOMPARE(wrapper.unwrapSymmetricKey(wrapped), symmetric);
        // Wrapped for the development service key, openssl unwraps it.
        QCOMPARE(
            opensslDecrypt(wrapper.wrapSymmetricKey(symmetric, DataEncryptor::getRsaPublicKey()),
                           cryptotest::devPrivateKeyPath()),
            symmetric);
        QVERIFY(wrapper.wrapSymmetricKey(QByteArray(), wrapper.getPublicKeyRef()).isNull());
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("Symmetric key parameter is nil."));
        QVERIFY(wrapper.wrapSymmetricKey(symmetric, nullptr).isNull());
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("Key parameter is nil."));
        QVERIFY(wrapper.wrapSymmetricKey(QByteArray(118, 'n'), wrapper.getPublicKeyRef()).isNull());
        QCOMPARE(
            wrapper.lastMessage(),
            QStringLiteral("Nonce integer is too large and falls outside multiplicative group."));
        QVERIFY(wrapper.unwrapSymmetricKey(QByteArray(129, 'n')).isNull());
        QCOMPARE(
            wrapper.lastMessage(),
            QStringLiteral("Encrypted nonce is too large and falls outside multiplicative group."));
        QVERIFY(wrapper.unwrapSymmetricKey(QByteArray(128, 'n')).isNull());
        QVERIFY(wrapper.lastMessage().startsWith(QStringLiteral("Error decrypting, OSStatus == ")));
    }

    void wrapperSignature() {
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("sign"))));
        QCOMPARE(SecKeyWrapper::getHashBytes("abc").toHex(),
                 QByteArray("a9993e364706816aba3e25717850c26c9cd0d89d"));
        QVERIFY(wrapper.getSignatureBytes("message").isNull());
        QVERIFY(wrapper.lastMessage().startsWith(
            QStringLiteral("Problem signing the SHA1 hash, OSStatus == ")));
        QVERIFY(wrapper.generateKeyPair(1024));
        const QByteArray signature = wrapper.getSignatureBytes("message");
        QCOMPARE(signature.size(), 128);
        QVERIFY(wrapper.verifySignature("message", wrapper.getPublicKeyRef(), signature));
        QVERIFY(!wrapper.verifySignature("messagE", wrapper.getPublicKeyRef(), signature));
        QVERIFY(!wrapper.verifySignature("message", DataEncryptor::getRsaPublicKey(), signature));
        // The openssl command line verifies it as a SHA-1 PKCS#1 v1.5 signature.
        const QString publicPath = _dir.filePath(QStringLiteral("sign.pub.der"));
        const QString signaturePath = _dir.filePath(QStringLiteral("sign.sig"));
        const QString messagePath = _dir.filePath(QStringLiteral("sign.txt"));
        QVERIFY(writeAll(publicPath, wrapper.getPublicKeyRef()->subjectPublicKeyInfoDer()));
        QVERIFY(writeAll(signaturePath, signature));
        QVERIFY(writeAll(messagePath, "message"));
        const auto verified = cryptotest::run(
            cryptotest::openssl(), {"dgst", "-sha1", "-verify", publicPath, "-keyform", "DER",
                                    "-signature", signaturePath, messagePath});
        QVERIFY2(verified.exitCode == 0, verified.err.constData());
    }

    void wrapperSymmetricKey() {
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("symmetric"))));
        QVERIFY(wrapper.getSymmetricKeyBytes().isEmpty());
        QVERIFY(wrapper.generateSymmetricKey());
        const QByteArray first = wrapper.getSymmetricKeyBytes();
        QCOMPARE(first.size(), 8);
        QVERIFY(wrapper.generateSymmetricKey());
        QVERIFY(wrapper.getSymmetricKeyBytes() != first);
        wrapper.deleteSymmetricKey();
        QVERIFY(wrapper.getSymmetricKeyBytes().isEmpty());
    }

    void wrapperPeerKeys() {
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("peers"))));
        const QByteArray der = DataEncryptor::getRsaPublicKey()->subjectPublicKeyInfoDer();
        QVERIFY(!wrapper.addPeerPublicKey(QString(), der));
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("Peer name parameter is nil."));
        QVERIFY(!wrapper.addPeerPublicKey(QStringLiteral("service"), QByteArray()));
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("Public key parameter is nil."));
        QVERIFY(!wrapper.addPeerPublicKey(QStringLiteral("service"), QByteArray("junk")));
        QVERIFY(wrapper.lastMessage().startsWith(
            QStringLiteral("Problem adding the peer public key to the keychain")));
        const RsaKeyPtr peer = wrapper.addPeerPublicKey(QStringLiteral("service"), der);
        QVERIFY(peer);
        QCOMPARE(peer->subjectPublicKeyInfoDer(), der);
        QVERIFY(wrapper.addPeerPublicKey(QStringLiteral("service"), der));  // already there
        QVERIFY(!wrapper.getPersistentKeyRefWithKeyRef(peer).isEmpty());
        wrapper.removePeerPublicKey(QStringLiteral("service"));
        QVERIFY(wrapper.lastMessage().isEmpty());
        QVERIFY(wrapper.getPersistentKeyRefWithKeyRef(peer).isEmpty());
        wrapper.removePeerPublicKey(QString());
        QCOMPARE(wrapper.lastMessage(), QStringLiteral("Peer name parameter is nil."));
    }

    void wrapperCipherAgainstOpenssl() {
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("des"))));
        const QByteArray key("\x13\x34\x57\x79\x9b\xbc\xdf\xf1", 8);
        for (const auto& [plain, padding] : {std::pair{QByteArray("single DES text"), true},
                                             {QByteArray("16 bytes exactly"), true},
                                             {QByteArray("16 bytes exactly"), false}}) {
            unsigned options =
                padding ? SecKeyWrapper::kCCOptionPKCS7Padding : SecKeyWrapper::kCCOptionNone;
            const QByteArray cipher =
                wrapper.doCipher(plain, key, SecKeyWrapper::kCCEncrypt, &options);
            QVERIFY2(!cipher.isNull(), qPrintable(wrapper.lastMessage()));
            QStringList args{
                "enc",       "-des-cbc",         "-K",        QString::fromLatin1(key.toHex()),
                "-iv",       "0000000000000000", "-provider", "legacy",
                "-provider", "default"};
            if (!padding) {
                args << "-nopad";
            }
            const auto reference = cryptotest::run(cryptotest::openssl(), args, plain);
            QVERIFY2(reference.exitCode == 0, reference.err.constData());
            QCOMPARE(cipher.toHex(), reference.out.toHex());
            QCOMPARE(wrapper.doCipher(cipher, key, SecKeyWrapper::kCCDecrypt, &options), plain);
        }
    }
    void wrapperCipherMessages_data() {
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<int>("operation");
        QTest::addColumn<bool>("withOptions");
        QTest::addColumn<unsigned>("options");
        QTest::addColumn<QString>("message");
        const QByteArray key("12345678");
        QTest::newRow("nil plaintext")
            << QByteArray() << key << 0 << true << 1u << "PlainText object cannot be nil.";
        QTest::newRow("nil key") << QByteArray("x") << QByteArray() << 0 << true << 1u
                                 << "Symmetric key object cannot be nil.";
        QTest::newRow("no options")
            << QByteArray("x") << key << 0 << false << 1u << "CCOptions * pkcs7 cannot be NULL.";
        QTest::newRow("key size") << QByteArray("x") << QByteArray("1234567") << 0 << true << 1u
                                  << "Disjoint choices for key size.";
        QTest::newRow("empty plaintext")
            << QByteArray("") << key << 0 << true << 1u << "Empty plaintext passed in.";
        QTest::newRow("operation") << QByteArray("x") << key << 7 << true << 1u
                                   << "Invalid CCOperation parameter [7] for cipher context.";
        QTest::newRow("unpadded partial block") << QByteArray("12345") << key << 0 << true << 0u
                                                << "Problem with encipherment ccStatus == -4303";
    }

    void wrapperCipherMessages() {
        QFETCH(QByteArray, plain);
        QFETCH(QByteArray, key);
        QFETCH(int, operation);
        QFETCH(bool, withOptions);
        QFETCH(unsigned, options);
        QFETCH(QString, message);
        SecKeyWrapper wrapper(KeyStore(_dir.filePath(QStringLiteral("messages"))));
        QVERIFY(wrapper.doCipher(plain, key, operation, withOptions ? &options : nullptr).isNull());
        QCOMPARE(wrapper.lastMessage(), message);
    }

private:
    QTemporaryDir _dir;
};

QTEST_GUILESS_MAIN(TestRsa)
#include "tst_rsa.moc"
