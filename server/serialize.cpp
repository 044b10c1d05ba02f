#include "server/serialize.h"

#include "server/ReplyWriter.h"

#include <Poco/Exception.h>

namespace kx::information_model::opc {

namespace {

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";

}  // namespace

std::string serialize(const Poco::XML::Document* document) {
    return write_reply(document).to_string();
}

MarkupRope write_reply(const Poco::XML::Document* document) {
    if (document == nullptr) {
        throw Poco::NullPointerException();
    }
    const auto& reply = dynamic_cast<const ReplyDocument&>(*document);
    MarkupRope text;
    text.append(DECLARATION);
    ReplyWriter(text).write(static_cast<const ReplyElement&>(*reply.documentElement()));
    return text;
}

}  // namespace kx::information_model::opc
