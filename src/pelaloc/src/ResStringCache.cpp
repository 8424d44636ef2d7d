#include <map>

#include "pelaloc/ResStrings.h"

namespace pelaloc {

namespace {

typedef std::map<std::wstring, ResStrings> Table;

// Keys are BCP 47 codes as LocaleUtil produces them ("pt-BR"), or a bare
// language ("pt") that serves every region without an entry of its own.
// Button labels carry no mnemonics: the dialog adds them.
Table buildTable() {
    Table t;
    t[L"en"] = {L"Allow access to microphone and camera?",
                L"{domain} wants to access your microphone and camera.",
                L"A web page wants to access your microphone and camera.",
                L"Only allow sites you trust. Choose \u201CAlways Allow\u201D to remember your "
                L"choice for this site.",
                L"Deny",
                L"Allow",
                L"Always Allow"};
    t[L"de"] = {L"Zugriff auf Mikrofon und Kamera erlauben?",
                L"{domain} möchte auf Ihr Mikrofon und Ihre Kamera zugreifen.",
                L"Eine Webseite möchte auf Ihr Mikrofon und Ihre Kamera zugreifen.",
                L"Erlauben Sie den Zugriff nur Websites, denen Sie vertrauen. Wählen Sie "
                L"\u201EImmer erlauben\u201C, um Ihre Entscheidung für diese Website zu speichern.",
                L"Ablehnen",
                L"Erlauben",
                L"Immer erlauben"};
    t[L"fr"] = {L"Autoriser l\u2019accès au microphone et à la caméra\u00A0?",
                L"{domain} souhaite accéder à votre microphone et à votre caméra.",
                L"Une page web souhaite accéder à votre microphone et à votre caméra.",
                L"N\u2019autorisez que les sites auxquels vous faites confiance. Choisissez "
                L"«\u00A0Toujours autoriser\u00A0» pour mémoriser votre choix pour ce site.",
                L"Refuser",
                L"Autoriser",
                L"Toujours autoriser"};
    t[L"es"] = {L"¿Permitir el acceso al micrófono y a la cámara?",
                L"{domain} quiere acceder a su micrófono y a su cámara.",
                L"Una página web quiere acceder a su micrófono y a su cámara.",
                L"Permita el acceso solo a los sitios en los que confíe. Elija «Permitir siempre» "
                L"para recordar su decisión para este sitio.",
                L"Denegar",
                L"Permitir",
                L"Permitir siempre"};
    t[L"it"] = {L"Consentire l\u2019accesso al microfono e alla fotocamera?",
                L"{domain} vuole accedere al microfono e alla fotocamera.",
                L"Una pagina web vuole accedere al microfono e alla fotocamera.",
                L"Consenti l\u2019accesso solo ai siti di cui ti fidi. Scegli «Consenti sempre» "
                L"per ricordare la scelta per questo sito.",
                L"Nega",
                L"Consenti",
                L"Consenti sempre"};
    t[L"pt"] = {L"Permitir o acesso ao microfone e à câmara?",
                L"{domain} pretende aceder ao seu microfone e à sua câmara.",
                L"Uma página web pretende aceder ao seu microfone e à sua câmara.",
                L"Permita apenas sites em que confia. Escolha «Permitir sempre» para memorizar a "
                L"sua escolha para este site.",
                L"Recusar",
                L"Permitir",
                L"Permitir sempre"};
    t[L"pt-BR"] = {L"Permitir acesso ao microfone e à câmera?",
                   L"{domain} quer acessar seu microfone e sua câmera.",
                   L"Uma página da web quer acessar seu microfone e sua câmera.",
                   L"Permita apenas sites em que você confia. Escolha \u201CSempre permitir\u201D "
                   L"para lembrar sua escolha para este site.",
                   L"Negar",
                   L"Permitir",
                   L"Sempre permitir"};
    t[L"nl"] = {L"Toegang tot microfoon en camera toestaan?",
                L"{domain} wil uw microfoon en camera gebruiken.",
                L"Een webpagina wil uw microfoon en camera gebruiken.",
                L"Sta dit alleen toe voor websites die u vertrouwt. Kies \u2018Altijd toestaan\u2019 "
                L"om uw keuze voor deze website te onthouden.",
                L"Weigeren",
                L"Toestaan",
                L"Altijd toestaan"};
    t[L"pl"] = {L"Zezwolić na dostęp do mikrofonu i kamery?",
                L"{domain} chce uzyskać dostęp do mikrofonu i kamery.",
                L"Strona internetowa chce uzyskać dostęp do mikrofonu i kamery.",
                L"Zezwalaj tylko zaufanym witrynom. Wybierz \u201EZawsze zezwalaj\u201D, aby "
                L"zapamiętać wybór dla tej witryny.",
                L"Odmów",
                L"Zezwól",
                L"Zawsze zezwalaj"};
    t[L"ru"] = {L"Разрешить доступ к микрофону и камере?",
                L"{domain} запрашивает доступ к вашему микрофону и камере.",
                L"Веб-страница запрашивает доступ к вашему микрофону и камере.",
                L"Разрешайте доступ только сайтам, которым вы доверяете. Выберите «Всегда "
                L"разрешать», чтобы запомнить решение для этого сайта.",
                L"Запретить",
                L"Разрешить",
                L"Всегда разрешать"};
    t[L"ja"] = {L"マイクとカメラへのアクセスを許可しますか？",
                L"{domain} がマイクとカメラへのアクセスを求めています。",
                L"Web ページがマイクとカメラへのアクセスを求めています。",
                L"信頼できるサイトにのみ許可してください。「常に許可」を選ぶと、このサイトに対する"
                L"選択が記憶されます。",
                L"拒否",
                L"許可",
                L"常に許可"};
    t[L"ko"] = {L"마이크 및 카메라 액세스를 허용하시겠습니까?",
                L"{domain}에서 마이크 및 카메라에 액세스하려고 합니다.",
                L"웹 페이지에서 마이크 및 카메라에 액세스하려고 합니다.",
                L"신뢰하는 사이트만 허용하세요. \u2018항상 허용\u2019을 선택하면 이 사이트에 대한 "
                L"선택이 저장됩니다.",
                L"거부",
                L"허용",
                L"항상 허용"};
    t[L"zh"] = {L"允许访问麦克风和摄像头吗？",
                L"{domain} 想要访问您的麦克风和摄像头。",
                L"某个网页想要访问您的麦克风和摄像头。",
                L"请仅允许您信任的网站。选择\u201C始终允许\u201D可记住您对此网站的选择。",
                L"拒绝",
                L"允许",
                L"始终允许"};
    t[L"zh-TW"] = {L"要允許存取麥克風和攝影機嗎？",
                   L"{domain} 想要存取您的麥克風和攝影機。",
                   L"某個網頁想要存取您的麥克風和攝影機。",
                   L"請只允許您信任的網站。選擇「一律允許」即可記住您對此網站的選擇。",
                   L"拒絕",
                   L"允許",
                   L"一律允許"};
    t[L"ar"] = {L"هل تريد السماح بالوصول إلى الميكروفون والكاميرا؟",
                L"يريد {domain} الوصول إلى الميكروفون والكاميرا لديك.",
                L"تريد صفحة ويب الوصول إلى الميكروفون والكاميرا لديك.",
                L"لا تسمح إلا للمواقع التي تثق بها. اختر «السماح دائمًا» لتذكّر اختيارك لهذا الموقع.",
                L"رفض",
                L"سماح",
                L"السماح دائمًا"};
    t[L"he"] = {L"לאפשר גישה למיקרופון ולמצלמה?",
                L"האתר {domain} מבקש גישה למיקרופון ולמצלמה שלך.",  // a Hebrew first word keeps the line right-to-left
                L"דף אינטרנט מבקש גישה למיקרופון ולמצלמה שלך.",
                L"יש לאפשר גישה רק לאתרים שבהם אתה בוטח. בחירה ב\u05F4אפשר תמיד\u05F4 תשמור את "
                L"ההחלטה עבור אתר זה.",
                L"דחה",
                L"אפשר",
                L"אפשר תמיד"};

    // Traditional script regions share one table; the simplified one is the
    // language default.
    t[L"zh-HK"] = t[L"zh-TW"];
    t[L"zh-MO"] = t[L"zh-TW"];
    t[L"zh-Hant"] = t[L"zh-TW"];
    t[L"zh-CN"] = t[L"zh"];
    t[L"zh-Hans"] = t[L"zh"];
    // Hebrew's legacy language code still turns up in old locale settings.
    t[L"iw"] = t[L"he"];
    return t;
}

const Table& table() {
    static const Table kTable = buildTable();
    return kTable;
}

wchar_t lowerAscii(wchar_t c) {
    return (c >= L'A' && c <= L'Z') ? c - L'A' + L'a' : c;
}
wchar_t upperAscii(wchar_t c) {
    return (c >= L'a' && c <= L'z') ? c - L'a' + L'A' : c;
}

// "PT_br" -> "pt-BR", "zh_hant" -> "zh-Hant": the case the table keys use.
std::wstring canonical(const std::wstring& code) {
    std::wstring out;
    size_t subtag = 0;
    size_t start = 0;
    while (start <= code.size()) {
        size_t end = code.find_first_of(L"-_", start);
        if (end == std::wstring::npos) {
            end = code.size();
        }
        std::wstring part = code.substr(start, end - start);
        for (size_t i = 0; i < part.size(); ++i) {
            if (subtag == 0) {
                part[i] = lowerAscii(part[i]);
            } else if (part.size() == 4) {
                part[i] = i == 0 ? upperAscii(part[i]) : lowerAscii(part[i]);  // script
            } else {
                part[i] = upperAscii(part[i]);  // region
            }
        }
        if (subtag > 0) {
            out += L'-';
        }
        out += part;
        ++subtag;
        start = end + 1;
    }
    return out;
}

}  // namespace

const ResStrings& ResStringCache::getStringsForLocale(const std::wstring& localeCode) {
    const Table& t = table();
    const std::wstring code = canonical(localeCode);
    Table::const_iterator it = t.find(code);
    if (it != t.end()) {
        return it->second;
    }
    // "zh-Hant-TW": try the language with its script before the bare language.
    const size_t firstSep = code.find(L'-');
    if (firstSep != std::wstring::npos) {
        const size_t secondSep = code.find(L'-', firstSep + 1);
        if (secondSep != std::wstring::npos) {
            it = t.find(code.substr(0, secondSep));
            if (it != t.end()) {
                return it->second;
            }
        }
        it = t.find(code.substr(0, firstSep));
        if (it != t.end()) {
            return it->second;
        }
    }
    return t.find(L"en")->second;
}

}  // namespace pelaloc
