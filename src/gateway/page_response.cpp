#include "gateway/page_response.h"

namespace vantry::gateway {

const page::PageFile* PageFileAt(const Target& target) {
    std::string path = target.segments.empty() ? "/" : "";
    for (const std::string& segment : target.segments) {
        path += "/" + segment;
    }
    for (const page::PageFile& file : page::PageFiles()) {
        if (file.path == path) {
            return &file;
        }
    }
    return nullptr;
}

Response ResponseWith(const Request& request, const page::PageFile& file) {
    Response response;
    response.contentType = file.type;
    response.headers = {{"Cache-Control", "no-cache"}, {"ETag", std::string(file.tag)}};
    if (request.ifNoneMatch == file.tag) {
        response.status = 304;
        return response;
    }
    response.headers.emplace_back("Content-Encoding", "gzip");
    response.body = file.content;
    return response;
}

}  // namespace vantry::gateway
