#include "commands/query/quorvex_cam_list.h"

#include "db/tables.h"

#include <strings.h>

namespace dorel_remote_control {

namespace {

namespace q = doreldb::Quorvex;

struct CamField {
    const char* element;
    size_t column;
    bool detail;  // written only with CamListFields::details
};

// serialNumber and publicKey are written on their own terms below.
const CamField kCamFields[] = {
    {"serialNumber", q::idCliente, false},  {"publicKey", q::K_Publica, false},
    {"manufacturer", q::Fabricante, true},  {"registerDate", q::Alta, true},
    {"ekShared", q::EK_Shared, true},       {"description", q::Descripcion, true},
};

}  // namespace

std::string trimmed(const std::string& text) {
    const char* const blanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

XmlNode* appendCamList(XmlDocument& doc, XmlNode* parent, const std::vector<doreldb::Record>& rows,
                       const CamListFields& fields) {
    XmlNode* list = appendElement(doc, parent, "list");
    for (const doreldb::Record& row : rows) {
        XmlNode* cam = appendElement(doc, list, "cam");
        appendElement(doc, cam, "serialNumber", row.text(q::idCliente));
        const std::string key = row.text(q::K_Publica);
        if (fields.hasPublicKey) appendElement(doc, cam, "hasPublicKey", key.empty() ? "0" : "1");
        if (fields.publicKey) appendElement(doc, cam, "publicKey", key);
        if (!fields.details) continue;
        for (const CamField& field : kCamFields) {
            if (field.detail) appendElement(doc, cam, field.element, row.text(field.column));
        }
    }
    return list;
}

std::vector<const XmlNode*> camElements(const XmlNode* list) {
    std::vector<const XmlNode*> cams;
    for (const XmlNode* child = list->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element && child->name_size() == 3 &&
            strncasecmp(child->name(), "cam", 3) == 0) {
            cams.push_back(child);
        }
    }
    return cams;
}

CamValues readCam(const XmlNode* cam) {
    CamValues values;
    for (const CamField& field : kCamFields) {
        const XmlNode* node = childElementNoCase(cam, field.element);
        if (node == nullptr) continue;
        const std::string text = nodeText(node);
        values[field.column] = field.column == q::K_Publica ? trimmed(text) : text;
    }
    return values;
}

}  // namespace dorel_remote_control
