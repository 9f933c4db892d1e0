// Mails a text with a file attached: mail HOST PORT FROM TO TEXT FILE
// VEXIL_MAIL_USER and VEXIL_MAIL_PASSWORD say as whom; VEXIL_MAIL_CA names a file of certificates to trust.
#include "vexil/mail/MailAddress.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "zet/TimeFields.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

vexil::String valueOf(const char* variable) {
    const char* const value = std::getenv(variable);
    return value ? value : "";
}

vexil::P<vexil::TBuffer<unsigned char>> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        throw vexil::CError("cannot read the file");
    }
    vexil::P<vexil::TBuffer<unsigned char>> content = new vexil::TBuffer<unsigned char>;
    content->append(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    return content;
}

void sendMail(vexil::CSMTPClient& client, const char* from, const char* to, const char* report,
              const char* file) {
    const vexil::P<vexil::CMimeMessage> text = new vexil::CMimeMessage("");
    text->setTextBody(report);
    vexil::CMultiPartMimeMessage message;
    message.getHeaders()["From"] = vexil::makeAddress("Backup of Jürgen", from);
    message.getHeaders()["To"] = to;
    message.getHeaders()["Subject"] = "Bericht für März";
    message.getHeaders()["Date"] =
        vexil::CSMTPClient::getDateHeaderString(zet::CTimeFields(zet::CTime::now()));
    message.addPart(text);
    message.addPart(vexil::CMimeMessage::createAttachment("files.txt", "text/plain", readFile(file)));
    client.sendMail(from, {to}, message);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 7) {
        std::cerr << "usage: mail HOST PORT FROM TO TEXT FILE\n";
        return 2;
    }
    try {
        const vexil::CSMTPParams params(arguments[1], std::stoi(arguments[2]),
                                        vexil::CSMTPParams::ConnectStartTLS, valueOf("VEXIL_MAIL_USER"),
                                        valueOf("VEXIL_MAIL_PASSWORD"));
        vexil::CSMTPClient client(params);
        client.setVerifyCertificate(true);
        if (const vexil::String bundle = valueOf("VEXIL_MAIL_CA"); !bundle.isEmpty()) {
            client.setRootCertBundlePath(bundle);
        }
        sendMail(client, arguments[3], arguments[4], arguments[5], arguments[6]);
    } catch (const std::exception& error) {
        std::cerr << "mail: " << error.what() << '\n';
        return 1;
    }
}
