// A shader that is shared, to the body of its request and back: a reader that knows nothing of how it was made finds
// the same parts, whatever is in them. The input is cut into the fields of the upload.
#include "GlassHobCore/fuzz/Finding.h"
#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdint>
#include <cstring>

using namespace glasshob;
using fuzz::expect;

namespace {

class Cutter {
  public:
    explicit Cutter(std::string_view text) : rest_(text) {}
    // Up to the next byte 0xFF, which is in no text.
    std::string next() {
        const std::size_t end = std::min(rest_.find('\xFF'), rest_.size());
        std::string taken(rest_.substr(0, end));
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return taken;
    }
    std::string_view rest() const { return rest_; }

  private:
    std::string_view rest_;
};

// Reads a body as the standard has it: each part begins behind a delimiter line and ends before the next one.
std::vector<Multipart::Part> read(const QByteArray& body, const std::string& boundary) {
    std::vector<Multipart::Part> parts;
    const QByteArray delimiter = "\r\n--" + QByteArray::fromStdString(boundary);
    QByteArray rest = "\r\n" + body;
    expect(rest.startsWith(delimiter), "no delimiter at the start");
    rest = rest.mid(delimiter.size());
    while (!rest.startsWith("--")) {
        expect(rest.startsWith("\r\n"), "a delimiter goes on");
        rest = rest.mid(2);
        const qsizetype head = rest.indexOf("\r\n\r\n"), end = rest.indexOf(delimiter);
        expect(head >= 0 && end > head, "a part without an end");
        parts.push_back({rest.left(head + 4).toStdString(), rest.mid(head + 4, end - head - 4)});
        rest = rest.mid(end + delimiter.size());
    }
    expect(rest == "--\r\n", "something behind the end");
    return parts;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Cutter cutter({reinterpret_cast<const char*>(data), size});
    ShareUpload upload;
    upload.title = cutter.next();
    upload.description = cutter.next();
    upload.licence = ShareUpload::licences[upload.title.size() % std::size(ShareUpload::licences)];
    upload.visibility = ShareUpload::visibilities[size % std::size(ShareUpload::visibilities)];
    upload.source = cutter.next();
    upload.params = ParamParser::parse(upload.source);
    upload.loop = QByteArray::fromStdString(cutter.next());
    upload.thumb = QByteArray(cutter.rest().data(), qsizetype(cutter.rest().size()));
    for (const std::string& problem : upload.problems())
        expect(problem.ends_with('.'), "no sentence");

    const std::string boundary = Multipart::freshBoundary();
    const Multipart sent = upload.multipart(boundary);
    expect(read(sent.body(), boundary) == sent.parts, "other parts than were sent");
    // Qt's reader of JSON leaves a byte-order mark at the start of a text out.
    const auto marked = [](QString text) { return text.remove(QChar(0xFEFF)); };
    const QJsonObject meta = QJsonDocument::fromJson(sent.parts.at(0).data).object();
    expect(marked(meta["title"].toString()) == marked(asQString(trimmed(upload.title))) &&
               marked(meta["description"].toString()) == marked(asQString(upload.description)) &&
               meta["params"].toArray().size() == qsizetype(upload.params.size()),
           "another description than was given");
    return 0;
}
