#pragma once

#include <QUrl>

namespace glasshob {

// Whether an address is one of http or https, with a host. Read it with QUrl::StrictMode. Any thread.
inline bool isWebAddress(const QUrl& url) {
    return url.isValid() && (url.scheme() == "http" || url.scheme() == "https") && !url.host().isEmpty();
}

} // namespace glasshob
