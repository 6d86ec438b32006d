#include "json_documents.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "document_writer.h"

namespace vexa::bench {
namespace {

// The numbers of a plain linear congruence: the same texts wherever they are made.
class Numbers {
 public:
  uint64_t next(uint64_t limit) {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return (state_ >> 33) % limit;
  }
  uint64_t between(uint64_t low, uint64_t high) { return low + next(high - low + 1); }

 private:
  uint64_t state_ = 1;
};

constexpr std::array<std::string_view, 6> kTexts = {
    "@kaori_example そろそろ出かける時間です。駅前の本屋に寄ってから向かいますね",
    "RT @news_example: 明日の会議は午後三時から、場所は二階の大きい部屋に変わりました "
    "http:\\/\\/t.example.com\\/a1b2",
    "the train was late again\\nso here is a picture of the platform http:\\/\\/t.example.com\\/x9",
    "Zwölf große Bücher über Käse, und keines davon erklärt die Löcher",
    "@friend_example @other_example \\\"good morning\\\" from the other side of the river",
    "本日の天気は晴れのち曇り、最高気温は二十六度の見込みです。傘はいらないでしょう。お出かけの方は"
    "お気をつけて",
};

void writeUser(DocumentWriter& out, Numbers& numbers) {
  const uint64_t id = numbers.between(100'000'000, 2'700'000'000);
  out.open('{');
  out.key("id").number(id);
  out.key("id_str").string(std::to_string(id));
  out.key("name").string(numbers.next(2) == 0 ? "佐藤さくら" : "A. N. Example");
  out.key("screen_name").string("user_" + std::to_string(numbers.next(100'000)));
  out.key("location").string(numbers.next(3) == 0 ? "東京の西のほう" : "");
  out.key("description").string(kTexts[numbers.next(kTexts.size())]);
  out.key("url").word("null");
  out.key("entities").open('{');
  out.key("description").open('{');
  out.key("urls").open('[');
  out.close(']');
  out.close('}');
  out.close('}');
  out.key("protected").word("false");
  out.key("followers_count").number(numbers.next(5000));
  out.key("friends_count").number(numbers.next(3000));
  out.key("listed_count").number(numbers.next(40));
  out.key("created_at").string("Sat Sep 03 13:02:28 +0000 2011");
  out.key("favourites_count").number(numbers.next(20'000));
  out.key("utc_offset").number(32400);
  out.key("geo_enabled").word(numbers.next(2) == 0 ? "true" : "false");
  out.key("verified").word("false");
  out.key("statuses_count").number(numbers.next(90'000));
  out.key("lang").string("ja");
  out.key("profile_background_color").string("C0DEED");
  out.key("profile_image_url")
      .string("http:\\/\\/images.example.com\\/profile_images\\/" + std::to_string(id) +
              "\\/face_normal.jpeg");
  out.key("profile_link_color").string("0084B4");
  out.key("default_profile").word("true");
  out.key("following").word("false");
  out.key("notifications").word("false");
  out.close('}');
}

void writeMention(DocumentWriter& out, Numbers& numbers) {
  const uint64_t id = numbers.between(100'000'000, 2'700'000'000);
  out.open('{');
  out.key("screen_name").string("kaori_example");
  out.key("name").string("かおり");
  out.key("id").number(id);
  out.key("id_str").string(std::to_string(id));
  out.key("indices").open('[');
  out.element();
  out.number(0);
  out.element();
  out.number(numbers.between(9, 14));
  out.close(']');
  out.close('}');
}

void writeTweet(DocumentWriter& out, Numbers& numbers) {
  const uint64_t id = 505'874'847'260'352'513 + numbers.next(90'000'000'000);
  out.open('{');
  out.key("metadata").open('{');
  out.key("result_type").string("recent");
  out.key("iso_language_code").string("ja");
  out.close('}');
  out.key("created_at").string("Sun Aug 31 00:29:15 +0000 2014");
  out.key("id").number(id);
  out.key("id_str").string(std::to_string(id));
  out.key("text").string(kTexts[numbers.next(kTexts.size())]);
  out.key("source").string(
      R"(<a href=\"http:\/\/client.example.com\/\" rel=\"nofollow\">Client for Telephones<\/a>)");
  out.key("truncated").word("false");
  out.key("in_reply_to_status_id").word("null");
  out.key("in_reply_to_user_id").number(numbers.between(100'000'000, 2'700'000'000));
  out.key("user");
  writeUser(out, numbers);
  out.key("geo").word("null");
  out.key("coordinates").word("null");
  out.key("place").word("null");
  out.key("retweet_count").number(numbers.next(100));
  out.key("favorite_count").number(numbers.next(100));
  out.key("entities").open('{');
  out.key("hashtags").open('[');
  out.close(']');
  out.key("urls").open('[');
  out.close(']');
  out.key("user_mentions").open('[');
  for (uint64_t i = numbers.next(3); i != 0; --i) {
    out.element();
    writeMention(out, numbers);
  }
  out.close(']');
  out.close('}');
  out.key("favorited").word("false");
  out.key("retweeted").word("false");
  out.key("lang").string("ja");
  out.close('}');
}

void writeNames(DocumentWriter& out, std::string_view key, uint64_t firstId, int count) {
  out.key(key).open('{');
  for (int i = 0; i < count; ++i) {
    out.key(std::to_string(firstId + static_cast<uint64_t>(i) * 7)).string("Second balcony, left");
  }
  out.close('}');
}

void writeEvent(DocumentWriter& out, Numbers& numbers, uint64_t id) {
  out.key(std::to_string(id)).open('{');
  out.key("description").word("null");
  out.key("id").number(id);
  out.key("logo").word("null");
  out.key("name").string("An evening of chamber music");
  out.key("subTopicIds").open('[');
  for (uint64_t i = numbers.between(1, 4); i != 0; --i) {
    out.element();
    out.number(337'184'260 + numbers.next(40));
  }
  out.close(']');
  out.key("subtitle").word("null");
  out.key("topicIds").open('[');
  out.element();
  out.number(324'846'099 + numbers.next(4));
  out.element();
  out.number(107'888'604);
  out.close(']');
  out.close('}');
}

void writeSeatCategory(DocumentWriter& out, Numbers& numbers) {
  out.element();
  out.open('{');
  out.key("areas").open('[');
  for (uint64_t i = numbers.between(4, 16); i != 0; --i) {
    out.element();
    out.open('{');
    out.key("areaId").number(205'705'990 + numbers.next(20));
    out.key("blockIds").open('[');
    out.close(']');
    out.close('}');
  }
  out.close(']');
  out.key("seatCategoryId").number(338'937'230 + numbers.next(70));
  out.close('}');
}

void writePerformance(DocumentWriter& out, Numbers& numbers) {
  out.element();
  out.open('{');
  out.key("eventId").number(138'586'341 + numbers.next(184));
  out.key("id").number(339'887'500 + numbers.next(90'000));
  out.key("logo").word("null");
  out.key("name").word("null");
  out.key("prices").open('[');
  for (uint64_t i = numbers.between(3, 7); i != 0; --i) {
    out.element();
    out.open('{');
    out.key("amount").number(numbers.between(10, 240) * 250);
    out.key("audienceSubCategoryId").number(337'100'890);
    out.key("seatCategoryId").number(338'937'230 + numbers.next(70));
    out.close('}');
  }
  out.close(']');
  out.key("seatCategories").open('[');
  for (uint64_t i = numbers.between(3, 7); i != 0; --i) {
    writeSeatCategory(out, numbers);
  }
  out.close(']');
  out.key("seatMapImage").word("null");
  out.key("start").number(1'372'701'600'000 + numbers.next(1'000'000) * 1000);
  out.key("venueCode").string("GREAT_HALL");
  out.close('}');
}

constexpr uint64_t kManyKeys = 50'000;

// May stand in a key as it is.
bool isPlain(char c) {
  const auto byte = static_cast<uint8_t>(c);
  return byte > 0x20 && byte != '"' && byte != '\\' && byte != 0x7F && byte < 0xFE;
}

std::string bytesOf(uint64_t word) {
  std::string bytes(sizeof(word), '\0');
  std::memcpy(bytes.data(), &word, sizeof(word));
  return bytes;
}

}  // namespace

std::string tweets(size_t indentation) {
  Numbers numbers;
  DocumentWriter out(indentation);
  out.open('{');
  out.key("statuses").open('[');
  while (out.size() < 630'000) {
    out.element();
    writeTweet(out, numbers);
  }
  out.close(']');
  out.key("search_metadata").open('{');
  out.key("completed_in").word("0.087");
  out.key("count").number(100);
  out.close('}');
  out.close('}');
  return out.take();
}

std::string catalogue(size_t indentation) {
  Numbers numbers;
  DocumentWriter out(indentation);
  out.open('{');
  writeNames(out, "areaNames", 205'705'993, 17);
  writeNames(out, "audienceSubCategoryNames", 337'100'890, 1);
  out.key("events").open('{');
  for (uint64_t id = 138'586'341; id != 138'586'341 + 184; ++id) {
    writeEvent(out, numbers, id);
  }
  out.close('}');
  out.key("performances").open('[');
  while (out.size() < 1'715'000) {
    writePerformance(out, numbers);
  }
  out.close(']');
  writeNames(out, "seatCategoryNames", 338'937'235, 64);
  writeNames(out, "subTopicNames", 337'184'262, 19);
  out.close('}');
  return out.take();
}

std::string apiBody() {
  return R"({"id":4711,"method":"sign","origin":"https://portal.example.com","params":{"user":)"
         R"("Jo\u00e3o Silva","certificate":"3082036a30820252","detached":true,"hash":"sha256",)"
         R"("level":2,"tags":["login","first \"try\"",null],"retries":0},)"
         R"("session":"8d2f9f87c79d4569b8ff835e3c6058bb","time":1700000000})";
}

std::string manyMembers() {
  std::string text = "{";
  for (int i = 0; i < 10'000; ++i) {
    const std::string n = std::to_string(i);
    text += (i == 0 ? "\"member_" : ",\"member_") + n +
            "\":" + (i % 2 == 0 ? n : "\"value " + n + "\"");
  }
  return text + "}";
}

std::string fewMembers(int count) {
  static constexpr std::array<std::string_view, 17> kMembers = {
      R"("id":4711)",          R"("method":"sign")",    R"("origin":"https://a.example")",
      R"("user":"silva")",     R"("hash":"sha256")",    R"("level":2)",
      R"("detached":true)",    R"("retries":0)",        R"("session":"8d2f9f87c79d")",
      R"("time":1700000000)",  R"("language":"pt-BR")", R"("certificate":"3082036a")",
      R"("timeout":30)",       R"("version":3)",        R"("reason":null)",
      R"("policy":"default")", R"("encoding":"base64")"};
  std::string text = "{";
  for (int i = 0; i < count; ++i) {
    text.append(i == 0 ? "" : ",").append(kMembers[static_cast<size_t>(i)]);
  }
  return text + "}";
}

std::string listOf(uint64_t bytes) {
  std::string text = R"({"list":[)";
  for (int i = 0; text.size() < bytes; ++i) {
    const std::string n = std::to_string(i);
    text += (i == 0 ? R"({"id":)" : R"(,{"id":)") + n + R"(,"name":"entry )" + n +
            R"(","flags":[true,null]})";
  }
  return text + "]}";
}

std::string honestKeys() {
  std::string text = "{";
  for (uint64_t i = 0; i < kManyKeys; ++i) {
    text.append(i == 0 ? "\"" : ",\"").append(std::to_string(1'000'000'000'000'000 + i * 7919));
    text += "\":1";
  }
  return text + "}";
}

std::string collidingKeys() {
  Numbers numbers;
  std::string text = "{";
  for (uint64_t made = 0; made < kManyKeys;) {
    // The first word at will, the second takes back what it does to a digest that multiplies and
    // folds each word with numbers that everybody knows.
    const uint64_t first = numbers.next(uint64_t{1} << 31) << 32 | numbers.next(uint64_t{1} << 31);
    uint64_t second = (16 ^ first) * 0x9E3779B97F4A7C15;
    second ^= second >> 32;
    const std::string key = bytesOf(first) + bytesOf(second);
    if (std::all_of(key.begin(), key.end(), isPlain)) {
      text.append(made++ == 0 ? "\"" : ",\"").append(key).append("\":1");
    }
  }
  return text + "}";
}

}  // namespace vexa::bench
