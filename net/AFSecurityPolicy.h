#pragma once

#include <memory>

// Trust policy of a session client. The default policy evaluates the server's
// certificate chain normally (the system's trust store, the host name checked);
// a TLS error then fails the task. Nothing in the system installs another
// policy; allowInvalidCertificates exists for development servers only.
class AFSecurityPolicy {
public:
    static std::shared_ptr<AFSecurityPolicy> defaultPolicy() {
        return std::make_shared<AFSecurityPolicy>();
    }

    bool allowInvalidCertificates() const { return _allowInvalidCertificates; }
    void setAllowInvalidCertificates(bool allow) { _allowInvalidCertificates = allow; }

private:
    bool _allowInvalidCertificates = false;
};
