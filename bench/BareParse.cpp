// The floor a load is measured against: the file parsed into a Xerces DOM with namespaces, as
// a program that only parses would do it, linked against Xerces alone.
#include <cstdio>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bare_parse FILE\n");
        return 2;
    }
    xercesc::XMLPlatformUtils::Initialize();
    int status = 0;
    {
        auto* implementation = static_cast<xercesc::DOMImplementationLS*>(
            xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS"));
        xercesc::DOMLSParser* parser =
            implementation->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr);
        parser->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMNamespaces, true);
        xercesc::DOMDocument* document = parser->parseURI(argv[1]);
        if (document == nullptr || document->getDocumentElement() == nullptr) {
            std::fprintf(stderr, "bare_parse: cannot parse %s\n", argv[1]);
            status = 1;
        }
        parser->release();
    }
    xercesc::XMLPlatformUtils::Terminate();
    return status;
}
