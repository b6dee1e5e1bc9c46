/// A button beside each text that somebody may want to take elsewhere.
const addCopyButton = (text) => {
  const button = document.createElement("button");
  button.type = "button";
  button.className = "copy";
  button.textContent = general.words.copy;
  button.setAttribute("aria-live", "polite");
  button.addEventListener("click", async () => {
    try {
      await navigator.clipboard.writeText(text.textContent);
      button.textContent = general.words.copied;
    } catch {
      // Not allowed here: what is selected can be copied by hand.
      window.getSelection().selectAllChildren(text);
    }
  });
  text.before(button);
};

document.querySelectorAll(".copied").forEach(addCopyButton);
