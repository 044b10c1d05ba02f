// What Java classes that wsimport made from xmlda.wsdl need to work straight at the server, without a gateway.
//
// The handler is for the ports of JAX-WS: it mends what they write. But JAX-WS hides why a request failed, since the
// server sends its faults with status 400. So `call` sends a request without a port, and tells.

package xmlda.client;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.charset.StandardCharsets;
import java.util.Set;
import javax.xml.bind.JAXBContext;
import javax.xml.bind.JAXBException;
import javax.xml.namespace.QName;
import javax.xml.parsers.DocumentBuilder;
import javax.xml.parsers.DocumentBuilderFactory;
import javax.xml.parsers.ParserConfigurationException;
import javax.xml.soap.MessageFactory;
import javax.xml.soap.SOAPException;
import javax.xml.soap.SOAPMessage;
import javax.xml.stream.XMLInputFactory;
import javax.xml.stream.XMLStreamReader;
import javax.xml.ws.handler.MessageContext;
import javax.xml.ws.handler.soap.SOAPHandler;
import javax.xml.ws.handler.soap.SOAPMessageContext;
import org.w3c.dom.Document;
import org.w3c.dom.Element;
import org.w3c.dom.NodeList;
import org.xml.sax.SAXException;

class Dialect implements SOAPHandler<SOAPMessageContext> {
    static final String XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/";
    static final String XSD = "http://www.w3.org/2001/XMLSchema";
    static final String XSI = "http://www.w3.org/2001/XMLSchema-instance";

    // A fault of the server. What it cannot understand at all has the code "Client".
    static class Fault extends Exception {
        final String code;

        Fault(String code, String text) {
            super(text);
            this.code = code;
        }
    }

    private final URI url;
    private final HttpClient http = HttpClient.newBuilder().version(HttpClient.Version.HTTP_1_1).build();
    private final JAXBContext classes;

    Dialect(String url) throws JAXBException {
        this.url = URI.create(url);
        this.classes = JAXBContext.newInstance("xmlda");
    }

    // The server compares the names of types letter by letter: those of XML Schema have the prefix "xsd", those of
    // arrays have none. It reads booleans as 1 and 0, and takes "true" for false.
    static void mendValues(SOAPMessage message) throws SOAPException {
        NodeList values = message.getSOAPBody().getElementsByTagNameNS(XMLDA, "Value");
        for (int i = 0; i < values.getLength(); ++i) {
            Element value = (Element) values.item(i);
            String type = value.getAttributeNS(XSI, "type");
            String prefix = type.contains(":") ? type.substring(0, type.indexOf(':')) : null;
            String name = type.substring(type.indexOf(':') + 1);
            if (XSD.equals(value.lookupNamespaceURI(prefix))) {
                value.setAttributeNS("http://www.w3.org/2000/xmlns/", "xmlns:xsd", XSD);
                name = "xsd:" + name;
            }
            value.setAttributeNS(XSI, "xsi:type", name);
            if (name.equals("xsd:boolean")) {
                value.setTextContent(getNumber(value.getTextContent()));
            }
            NodeList members = value.getElementsByTagNameNS(XMLDA, "boolean");
            for (int j = 0; j < members.getLength(); ++j) {
                members.item(j).setTextContent(getNumber(members.item(j).getTextContent()));
            }
        }
    }

    private static String getNumber(String text) {
        return text.equals("true") ? "1" : text.equals("false") ? "0" : text;
    }

    // A value of a type for which Java has no class: typed("xsd:unsignedByte", "200").
    static Element typed(String type, String text) throws ParserConfigurationException {
        Document document = newBuilder().newDocument();
        Element value = document.createElementNS(XMLDA, "Value");
        value.setAttributeNS("http://www.w3.org/2000/xmlns/", "xmlns:xsd", XSD);
        value.setAttributeNS(XSI, "xsi:type", type);
        value.setTextContent(text);
        return value;
    }

    private static DocumentBuilder newBuilder() throws ParserConfigurationException {
        DocumentBuilderFactory factory = DocumentBuilderFactory.newInstance();
        factory.setNamespaceAware(true);
        return factory.newDocumentBuilder();
    }

    private static Document parse(byte[] body) throws IOException, ParserConfigurationException, SAXException {
        DocumentBuilder builder = newBuilder();
        builder.setErrorHandler(null); // which would print what it throws
        return builder.parse(new ByteArrayInputStream(body));
    }

    <T> T call(Object request, Class<T> type) throws Exception {
        SOAPMessage message = MessageFactory.newInstance().createMessage();
        classes.createMarshaller().marshal(request, message.getSOAPBody());
        mendValues(message);
        ByteArrayOutputStream body = new ByteArrayOutputStream();
        message.writeTo(body);
        HttpResponse<byte[]> reply = http.send(HttpRequest.newBuilder(url)
            .header("Content-Type", "text/xml; charset=utf-8")
            .header("SOAPAction", '"' + XMLDA + request.getClass().getSimpleName() + '"')
            .POST(HttpRequest.BodyPublishers.ofByteArray(body.toByteArray())).build(),
            HttpResponse.BodyHandlers.ofByteArray());
        if (reply.statusCode() != 200) {
            throw readFault(reply.body());
        }
        // Read from a stream, which keeps the namespaces that the envelope declares.
        XMLStreamReader reader =
            XMLInputFactory.newInstance().createXMLStreamReader(new ByteArrayInputStream(reply.body()));
        while (!reader.isStartElement() || !reader.getLocalName().equals(type.getSimpleName())) {
            reader.next();
        }
        return type.cast(classes.createUnmarshaller().unmarshal(reader));
    }

    // The parts of a fault have the namespace of OPC XML-DA.
    private static Fault readFault(byte[] body) throws IOException, ParserConfigurationException {
        try {
            Document document = parse(body);
            return new Fault(document.getElementsByTagNameNS("*", "faultcode").item(0).getTextContent(),
                document.getElementsByTagNameNS("*", "faultstring").item(0).getTextContent());
        } catch (SAXException error) {
            return new Fault("Client", new String(body, StandardCharsets.UTF_8));
        }
    }

    @Override
    public boolean handleMessage(SOAPMessageContext context) {
        try {
            if ((Boolean) context.get(MessageContext.MESSAGE_OUTBOUND_PROPERTY)) {
                mendValues(context.getMessage());
            }
            return true;
        } catch (SOAPException error) {
            throw new IllegalStateException(error);
        }
    }

    @Override
    public boolean handleFault(SOAPMessageContext context) {
        return true;
    }

    @Override
    public void close(MessageContext context) {
    }

    @Override
    public Set<QName> getHeaders() {
        return Set.of();
    }
}
