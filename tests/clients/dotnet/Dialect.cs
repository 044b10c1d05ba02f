// What a .NET proxy needs to work straight at the server, without a gateway. The proxy is made from xmlda.wsdl; its
// class is partial, so that a project takes this file beside the generated one.

using System.IO;
using System.Net;
using System.Text;
using System.Web.Services.Protocols;
using System.Xml;

public partial class XmlDa
{
    const string InstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

    // The server reads booleans as 1 and 0, and takes "true" for false.
    protected override XmlWriter GetWriterForMessage(SoapClientMessage message, int bufferSize)
    {
        return new BooleanWriter(new StreamWriter(message.Stream, new UTF8Encoding(false), bufferSize));
    }

    // A fault comes with status 400, and its parts have the namespace of OPC XML-DA. What the server cannot understand
    // at all it answers with the text "Bad request".
    protected override WebResponse GetWebResponse(WebRequest request)
    {
        var reply = (HttpWebResponse)base.GetWebResponse(request);
        if (reply.StatusCode != HttpStatusCode.BadRequest)
            return reply;
        string body;
        using (var reader = new StreamReader(reply.GetResponseStream(), Encoding.UTF8))
            body = reader.ReadToEnd();
        var document = new XmlDocument();
        try
        {
            document.LoadXml(body);
        }
        catch (XmlException)
        {
            throw new SoapException(body, SoapException.ClientFaultCode);
        }
        XmlNode code = document.SelectSingleNode("//*[local-name() = 'faultcode']");
        XmlNode text = document.SelectSingleNode("//*[local-name() = 'faultstring']");
        throw new SoapException(text.InnerText, new XmlQualifiedName(code.InnerText, code.NamespaceURI));
    }

    // A value of a type for which .NET has no class, for example Typed("xsd:duration", "PT30M").
    public static XmlNode[] Typed(string type, string text)
    {
        var document = new XmlDocument();
        XmlAttribute attribute = document.CreateAttribute("xsi", "type", InstanceNamespace);
        attribute.Value = type;
        return new XmlNode[] { attribute, document.CreateTextNode(text) };
    }

    // The text of a value whose type .NET does not know, for example of a quality.
    public static string GetText(object value)
    {
        if (value is string)
            return (string)value;
        var text = new StringBuilder();
        foreach (XmlNode node in (XmlNode[])value)
            text.Append(node is XmlAttribute ? "" : node.InnerText);
        return text.ToString();
    }

    class BooleanWriter : XmlTextWriter
    {
        bool isInAttribute;
        bool isInType;
        bool isBoolean;

        public BooleanWriter(TextWriter writer) : base(writer)
        {
        }

        public override void WriteStartElement(string prefix, string localName, string ns)
        {
            isBoolean = localName == "boolean"; // a member of an array
            base.WriteStartElement(prefix, localName, ns);
        }

        public override void WriteStartAttribute(string prefix, string localName, string ns)
        {
            isInAttribute = true;
            isInType = localName == "type" && ns == InstanceNamespace;
            base.WriteStartAttribute(prefix, localName, ns);
        }

        public override void WriteEndAttribute()
        {
            isInAttribute = false;
            isInType = false;
            base.WriteEndAttribute();
        }

        public override void WriteString(string text)
        {
            isBoolean = isInType ? text == "xsd:boolean" : isBoolean;
            base.WriteString(GetNumber(text));
        }

        public override void WriteRaw(string data)
        {
            base.WriteRaw(GetNumber(data));
        }

        string GetNumber(string text)
        {
            return isInAttribute || !isBoolean ? text : text == "true" ? "1" : text == "false" ? "0" : text;
        }
    }
}
